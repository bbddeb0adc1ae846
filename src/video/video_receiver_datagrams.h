// What the video receivers that speak datagrams share: all but how they reach a sink.
#pragma once

#include "link/frame_link.h"
#include "video/video_receiver.h"

class CVideoReceiverDatagrams : public CStreamReceiverDatagrams<CVideoReceiver>, public CFrameLink {
public:
    void ReleaseConnections() override;
    void RequestKeyFrame() override;
    void AdjustWindowSize(bool bIncrease) override;
    void OnReceivedFrame(uint32_t sinkID, const char* data, int length, uint32_t ip, uint16_t port) override;

    void OnSCTPSessionReceivedFrame(char* data, int length) override { NotifyData(data, length); }
    void SendSCTPData(char* packet, int length) override { m_sinkLink.SendPacket(packet, length); }

protected:
    using CStreamReceiverDatagrams::CStreamReceiverDatagrams;

    static constexpr const CMediumRow& kMedium = media::kVideo;
    /// Opens the session and enters the local MCU's table; false when the session cannot be opened.
    bool Enter();
    void DescribeLink(LumoLinkStatistics& statistics) const override;
};
