#include "audio/audio_sink.h"

#include "audio/audio_channel_state.h"
#include "audio/audio_constants.h"
#include "link/process/link_registry.h"

CAudioSink::CAudioSink(CAudioChannel& channel, uint32_t userID)
    : CStreamSink(CAudioChannelState::Of(channel).started, userID), m_pAudioChannel(&channel) {}

void CAudioSink::ReleaseConnections() {
    SetStarted(false);
    m_pAudioChannel->RemoveAudioSink(GetAudioSinkID());
}

CSinkInfo CAudioSink::Info() {
    const ChannelKey key = CAudioChannelState::Of(*m_pAudioChannel).hub.Key();
    return {wire::Kind::Audio, GetAudioSinkID(), key, 0, 0, false, nullptr};
}

CAudioSinkUDP::CAudioSinkUDP(CAudioChannel& channel, uint32_t ip, uint16_t port, uint32_t receiverID, uint32_t userID)
    : CStreamSinkUDP(media::kAudio, channel, ip, port, receiverID, userID), m_nFrame(ID()) {}

void CAudioSinkUDP::OnAudioChannelData(const char* data, int length) {
    if (CAudioSink::IsStarted() && MayHear() && IsItsTurn() && data && length >= audio::kMinDatagramFrame)
        m_udp.SendFrame(data, length);
}

// Sinks begin at a random frame, so that not all of them want the same one.
bool CAudioSinkUDP::IsItsTurn() {
    const uint32_t every = m_nEvery.load(std::memory_order_relaxed);
    if (every == 1 || ++m_nFrame % every == 0) return true;
    LinkRegistry().CountDropped(1);
    return false;
}

void CAudioSinkUDP::OnStarted() {
    if (m_bHasStarted.load(std::memory_order_relaxed)) return;
    m_ulFirstStart.store(CActivity::Now(), std::memory_order_relaxed);
    m_bHasStarted.store(true, std::memory_order_release);
}

bool CAudioSinkUDP::MayHear() const {
    if (IsValidated()) return true;
    const bool started = m_bHasStarted.load(std::memory_order_acquire);
    return !started ||
           ElapsedMs(CActivity::Now(), m_ulFirstStart.load(std::memory_order_relaxed)) <= limits::kUnvalidatedAudioMs;
}
