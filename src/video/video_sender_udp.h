// Publishes a video channel to a server over UDP.
#pragma once

#include "video/video_link.h"
#include "video/video_sender.h"

class CVideoSenderUDP : public CStreamSenderUDP<CVideoSender>, public CVideoLink {
public:
    CVideoSenderUDP(IVideoSenderNotify& notify, CVideoChannel& channel);

    void ReleaseConnections() override;
    bool IsDisconnected() override { return CStreamSenderUDP::IsDisconnected() || IsStuck(); }
    /// False without an open session, too.
    bool Connect(uint32_t ip0, uint32_t ip1, uint32_t ip2, uint16_t port) override;
    unsigned long GetBufferingFrameCount() override { return static_cast<unsigned long>(GetCount()); }
    void SendVideoData(char* data, int length) override;
    CFrameLink* GetFrameLink() override { return this; }

    /// Opens the session, before the sender enters its channel and table.
    void StartSession() { m_bSessionOpen = OpenLink(); }
    /// UDP thread, under the sender table lock.
    void OnReceivedFrameAck(const char* data, int length);

    void OnSCTPSessionReceivedFrame(char* data, int length) override;
    void SendSCTPData(char* packet, int length) override { m_source.SendPacket(packet, length); }

protected:
    void DescribeLink(LumoLinkStatistics& statistics) const override;

private:
    bool m_bSessionOpen = false;
};
