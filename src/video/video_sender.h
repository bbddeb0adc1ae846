// The senders of video: what they have in common, and one for each way to a server.
#pragma once

#include "link/stream/stream_sender.h"
#include "video/video_link.h"
#include "video/video_sink.h"

#include <cstdint>

/// The common base of the video senders: a sink of the channel that forwards to a server while that wants to see it.
class CVideoSender : public CStreamSender<CVideoSink, IVideoSender, IVideoSenderNotify> {
public:
    using CStreamSender::CStreamSender;

    void OnVideoChannelData(char* data, int length) override { SendVideoData(data, length); }
    virtual void SendVideoData(char* data, int length) = 0;

protected:
    void NotifyKeyFrameRequest() {
        CallApplication([&] { m_pNotify->OnKeyFrameRequest(); });
    }
};

/// Publishes a video channel to a server over UDP.
class CVideoSenderUDP : public CStreamSenderUDP<CVideoSender>, private ILinkOwner {
public:
    CVideoSenderUDP(IVideoSenderNotify& notify, CVideoChannel& channel);

    void ReleaseConnections() override;
    bool IsDisconnected() override { return CStreamSenderUDP::IsDisconnected() || m_frames.IsStuck(); }
    /// False without an open session, too.
    bool Connect(uint32_t ip0, uint32_t ip1, uint32_t ip2, uint16_t port) override;
    unsigned long GetBufferingFrameCount() override { return m_frames.QueuedFrames(); }
    void SendVideoData(char* data, int length) override;
    CFrameLink* GetFrameLink() override { return &m_frames; }

    /// Opens the session, before the sender enters its channel and table.
    void StartSession() { m_bSessionOpen = m_frames.OpenLink(); }
    /// UDP thread, under the sender table lock.
    void OnReceivedFrameAck(const char* data, int length);

private:
    void OnSCTPSessionReceivedFrame(char* data, int length) override;
    void SendSCTPData(char* packet, int length) override { m_source.SendPacket(packet, length); }
    void DescribeLink(LumoLinkStatistics& statistics) const override { m_source.Describe(statistics); }

    CVideoLink m_frames{*this};
    bool m_bSessionOpen = false;
};

/// Publishes a video channel to a server over TCP.
class CVideoSenderTCP : public CStreamSenderTCP<CVideoSender> {
public:
    CVideoSenderTCP(IVideoSenderNotify& notify, CVideoChannel& channel)
        : CStreamSenderTCP(notify, channel, media::kVideo) {}

    /// Numbers the frame in its bytes 1 and 2; a key frame takes the place of all that waits.
    void SendVideoData(char* data, int length) override;

protected:
    void OnControl(char control) override;

private:
    uint16_t m_usSequence = 0;  // under the channel's sink lock
};
