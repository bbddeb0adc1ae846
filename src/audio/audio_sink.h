// A subscriber of an audio channel: the peers' sinks, and the senders of this host.
#pragma once

#include "link/stream_sink.h"
#include "lumomedia/audio.h"

#include <cstdint>

class CAudioSinkUDP;

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
