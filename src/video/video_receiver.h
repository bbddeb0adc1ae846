// The receivers of video: what they have in common, and one for each way to a channel elsewhere.
#pragma once

#include "link/stream/stream_receiver.h"
#include "link/udp/frame_link.h"
#include "lumomedia/video.h"
#include "p2p/stream_receiver_p2p.h"

#include <cstdint>

/// The common base of the video receivers.
class CVideoReceiver : public CStreamReceiver<IVideoReceiver, IVideoReceiverNotify> {
public:
    using CStreamReceiver::CStreamReceiver;

    virtual uint32_t GetVideoChannelID() { return m_ulChannelID; }
    virtual uint32_t GetVideoReceiverID() { return ReceiverID(); }
    virtual uint32_t GetVideoSinkID() { return SinkID(); }
    /// The worker does not pump receivers: what they send goes when they are asked to send it.
    static CFrameLink* GetFrameLink() { return nullptr; }

protected:
    void NotifyData(const char* data, int length) {
        CallApplication([&] { m_pNotify->OnVideoData(data, length); });
    }
};

/// What the video receivers that speak datagrams share: all but how they reach a sink.
class CVideoReceiverDatagrams : public CStreamReceiverDatagrams<CVideoReceiver>, private ILinkOwner {
public:
    void ReleaseConnections() override;
    void RequestKeyFrame() override;
    void AdjustWindowSize(bool bIncrease) override;
    void OnReceivedFrame(uint32_t sinkID, const char* data, int length, uint32_t ip, uint16_t port) override;

protected:
    using CStreamReceiverDatagrams::CStreamReceiverDatagrams;

    static constexpr const CMediumRow& kMedium = media::kVideo;
    /// Opens the session and enters the local MCU's table; false when the session cannot be opened.
    bool Enter();

private:
    void OnSCTPSessionReceivedFrame(char* data, int length) override { NotifyData(data, length); }
    void SendSCTPData(char* packet, int length) override { m_subscriberLink.SendPacket(packet, length); }
    void DescribeLink(LumoLinkStatistics& statistics) const override { m_subscriberLink.Describe(statistics); }

    CFrameLink m_frames{*this};
};

/// Subscribes to a video channel at a server over UDP.
class CVideoReceiverUDP : public CStreamReceiverUDP<CVideoReceiverDatagrams> {
public:
    using CStreamReceiverUDP::CStreamReceiverUDP;
};

/// Subscribes to a video channel at a server over TCP.
class CVideoReceiverTCP : public CStreamReceiverTCP<CVideoReceiver> {
public:
    CVideoReceiverTCP(IVideoReceiverNotify& notify, uint32_t channelID, uint32_t userID);

    void RequestKeyFrame() override;
    void AdjustWindowSize(bool) override {}  // TCP has its own
};

/// Receives a video channel from a peer's local MCU over UDP.
class CVideoReceiverP2P : public CStreamReceiverP2P<CVideoReceiverDatagrams> {
public:
    using CStreamReceiverP2P::CStreamReceiverP2P;
};
