// A peer's receiver attached to a channel of this host over UDP.
#pragma once

#include "video/video_link.h"
#include "video/video_sink.h"

#include <memory>

class CVideoSinkUDP : public CStreamSinkUDP<CVideoSink>, public CVideoLink {
public:
    CVideoSinkUDP(CVideoChannel& channel, uint32_t ip, uint16_t port, uint32_t receiverID, uint32_t userID);
    /// Null when its session cannot be opened.
    static std::unique_ptr<CVideoSink> Make(CVideoChannel& channel, uint32_t ip, uint16_t port, uint32_t receiverID,
                                            uint32_t userID);

    void ReleaseConnections() override;
    bool IsDisconnected() override { return CStreamSinkUDP::IsDisconnected() || IsStuck(); }
    void OnVideoChannelData(char* data, int length) override;
    unsigned long GetBufferingFrameCount() override { return static_cast<unsigned long>(GetCount()); }
    CVideoSinkUDP* AsUDP() override { return this; }
    CFrameLink* GetFrameLink() override { return this; }
    void LimitQueue(uint64_t bytes) override { SetQueueLimit(bytes); }

    /// A sign of life. UDP thread, under the sink table lock.
    void OnReceivedFrameAck(const char* data, int length);

    void OnSCTPSessionReceivedFrame(char* data, int length) override;
    void SendSCTPData(char* packet, int length) override;

protected:
    void DescribeLink(LumoLinkStatistics& statistics) const override;
};
