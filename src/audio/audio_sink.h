// The subscribers of an audio channel.
#pragma once

#include "link/stream/stream_sink.h"
#include "lumomedia/audio.h"

#include <cstdint>
#include <memory>

class CAudioSinkUDP;

/// A subscriber of an audio channel: the peers' sinks, and the senders of this host.
/// Enters its channel by Join once it is wholly made, and has left it before its destructor begins.
class CAudioSink : public CStreamSink {
public:
    CAudioSink(CAudioChannel& channel, uint32_t userID);

    void ReleaseConnections() override;
    virtual uint32_t GetAudioSinkID() { return ID(); }
    virtual uint32_t GetAudioChannelID() { return static_cast<uint32_t>(m_pAudioChannel->GetAudioChannelID()); }
    /// One frame from the channel towards the subscriber. Any thread, under the channel's sink lock.
    virtual void OnAudioChannelData(const char* data, int length) = 0;
    /// Frames still waiting to go to the subscriber.
    virtual unsigned long GetBufferingFrameCount() = 0;

    /// This object as a peer's UDP sink, or null.
    virtual CAudioSinkUDP* AsUDP() { return nullptr; }
    CSinkInfo Info() override;
    void Join() override { m_pAudioChannel->AddAudioSink(GetAudioSinkID(), this); }

private:
    CAudioChannel* const m_pAudioChannel;  // not owned; outlives the sink
};

/// A peer's receiver attached to a channel of this host over UDP.
class CAudioSinkUDP : public CStreamSinkUDP<CAudioSink> {
public:
    CAudioSinkUDP(CAudioChannel& channel, uint32_t ip, uint16_t port, uint32_t receiverID, uint32_t userID);
    static std::unique_ptr<CAudioSink> Make(CAudioChannel& channel, uint32_t ip, uint16_t port, uint32_t receiverID,
                                            uint32_t userID) {
        return std::make_unique<CAudioSinkUDP>(channel, ip, port, receiverID, userID);
    }

    void OnAudioChannelData(const char* data, int length) override;
    unsigned long GetBufferingFrameCount() override { return 0; }  // a frame is sent at once
    CAudioSinkUDP* AsUDP() override { return this; }
    /// It gets one frame of so many. Any thread.
    void SetEvery(uint32_t frames) { m_nEvery.store(frames, std::memory_order_relaxed); }

protected:
    void OnStarted() override;

private:
    /// An unvalidated subscriber hears one second.
    bool MayHear() const;

    bool IsItsTurn();

    std::atomic<uint32_t> m_nEvery{1};
    uint32_t m_nFrame;  // under the channel's sink lock
    std::atomic<uint32_t> m_ulFirstStart{0};
    std::atomic<bool> m_bHasStarted{false};
};
