// The subscribers of a video channel.
#pragma once

#include "link/stream/stream_sink.h"
#include "lumomedia/video.h"
#include "video/video_link.h"

#include <atomic>
#include <cstdint>
#include <memory>

class CVideoSinkUDP;

/// A subscriber of a video channel: the peers' sinks, and the senders of this host.
/// Enters its channel by Join once it is wholly made, and has left it before its destructor begins.
class CVideoSink : public CStreamSink {
public:
    CVideoSink(CVideoChannel& channel, uint32_t userID);

    void ReleaseConnections() override;
    /// Whether a key frame has been asked for on this link since the last time this was asked.
    virtual bool TestKeyFrameRequest() { return m_bKeyFrameRequest.exchange(false, std::memory_order_relaxed); }
    virtual uint32_t GetVideoChannelID() { return static_cast<uint32_t>(m_pVideoChannel->GetVideoChannelID()); }
    virtual uint32_t GetVideoSinkID() { return ID(); }
    /// One frame from the channel towards the subscriber. Any thread, under the channel's sink lock.
    virtual void OnVideoChannelData(char* data, int length) = 0;
    /// Frames still waiting to go to the subscriber.
    virtual unsigned long GetBufferingFrameCount() = 0;

    /// This object as a peer's UDP sink, or null.
    virtual CVideoSinkUDP* AsUDP() { return nullptr; }
    CSinkInfo Info() override;
    void Join() override { m_pVideoChannel->AddVideoSink(GetVideoSinkID(), this); }

protected:
    void OnStarted() override { WantKeyFrame(); }
    /// The subscriber needs a key frame.
    void WantKeyFrame();

private:
    std::atomic<bool> m_bKeyFrameRequest{false};
    CVideoChannel* const m_pVideoChannel;  // not owned; outlives the sink
};

/// A peer's receiver attached to a channel of this host over UDP.
class CVideoSinkUDP : public CStreamSinkUDP<CVideoSink>, private ILinkOwner {
public:
    CVideoSinkUDP(CVideoChannel& channel, uint32_t ip, uint16_t port, uint32_t receiverID, uint32_t userID);
    /// Null when its session cannot be opened.
    static std::unique_ptr<CVideoSink> Make(CVideoChannel& channel, uint32_t ip, uint16_t port, uint32_t receiverID,
                                            uint32_t userID);

    void ReleaseConnections() override;
    bool IsDisconnected() override { return CStreamSinkUDP::IsDisconnected() || m_frames.IsStuck(); }
    void OnVideoChannelData(char* data, int length) override;
    unsigned long GetBufferingFrameCount() override { return m_frames.QueuedFrames(); }
    CVideoSinkUDP* AsUDP() override { return this; }
    CFrameLink* GetFrameLink() override { return &m_frames; }
    void LimitQueue(uint64_t bytes) override { m_frames.SetQueueLimit(bytes); }

    /// A sign of life. UDP thread, under the sink table lock.
    void OnReceivedFrameAck(const char* data, int length);

private:
    void OnSCTPSessionReceivedFrame(char* data, int length) override;
    void SendSCTPData(char* packet, int length) override { m_udp.SendPacket(packet, length); }
    void DescribeLink(LumoLinkStatistics& statistics) const override { m_udp.Describe(statistics); }

    CVideoLink m_frames{*this};
};
