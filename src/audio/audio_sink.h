// A subscriber of an audio channel: the peers' sinks, and the senders of this host.
#pragma once

#include "link/mcu_sink.h"
#include "link/object_id.h"
#include "lumomedia/audio.h"

#include <atomic>
#include <cstdint>

class CAudioSinkUDP;

/// Enters its channel by Join once it is wholly made, and has left it before its destructor begins.
class CAudioSink : public CMcuSink {
public:
    CAudioSink(CAudioChannel& channel, uint32_t userID) : m_pAudioChannel(&channel), m_ulUserID(userID) {}

    void ReleaseConnections() override;
    /// Whether the far side wants frames. Any thread.
    virtual bool IsStarted() { return m_bStarted.load(std::memory_order_relaxed); }
    virtual uint32_t GetAudioSinkID() { return m_id.Get(); }
    virtual uint32_t GetAudioChannelID() { return static_cast<uint32_t>(m_pAudioChannel->GetAudioChannelID()); }
    bool IsDisconnected() override { return m_bDisconnected.load(std::memory_order_relaxed); }
    /// One frame from the channel towards the subscriber. Any thread, under the channel's sink lock.
    virtual void OnAudioChannelData(const char* data, int length) = 0;
    /// Frames still waiting to go to the subscriber.
    virtual unsigned long GetBufferingFrameCount() = 0;
    virtual uint32_t GetUserID() { return m_ulUserID; }

    /// This object as a peer's UDP sink, or null.
    virtual CAudioSinkUDP* AsUDP() { return nullptr; }
    CSinkInfo Info() override {
        return {wire::Kind::Audio, GetAudioSinkID(), GetAudioChannelID(), 0, 0, false, nullptr};
    }
    void Join() override { m_pAudioChannel->AddAudioSink(GetAudioSinkID(), this); }

protected:
    /// The subscriber wants frames, or no more; counted in the channel. True when that is news.
    bool SetStarted(bool started);

private:
    std::atomic<bool> m_bStarted{false};
    CAudioChannel* const m_pAudioChannel;  // not owned; outlives the sink
    CObjectID m_id;
    std::atomic<bool> m_bDisconnected{false};  // a mark that nothing sets
    const uint32_t m_ulUserID;                 // of the remote receiver; 0 for senders
};
