// A subscriber of video over TCP.
#pragma once

#include "server/stream_sink_tcp.h"
#include "video/video_sink.h"

class CVideoSinkTCP : public CStreamSinkTCP<CVideoSink> {
public:
    CVideoSinkTCP(CVideoChannel& channel, ITcpSession* session, uint32_t userID);

    /// A key frame takes the place of all that waits.
    void OnVideoChannelData(char* data, int length) override;

protected:
    void OnControl(char control) override;
};
