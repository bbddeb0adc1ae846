// A video channel subscribed to at another server.
#pragma once

#include "server/stream_leg.h"
#include "video/video_receiver_tcp.h"
#include "video/video_receiver_udp.h"

class CVideoStream;

class CVideoLeg : public CStreamLeg<IVideoReceiverNotify, IVideoReceiver, CVideoReceiverUDP, CVideoReceiverTCP> {
public:
    CVideoLeg(CVideoStream& stream, const CMcuAddress& far, bool tcp, std::atomic<bool>& news);

    bool Open() override;
    void Close() override;
    /// Asks the far server. Under the gate.
    void RequestKeyFrame();

    void OnVideoData(const char* data, int length) override { m_stream.OnSourceFrame(data, length); }

private:
    CVideoStream& m_video;
};
