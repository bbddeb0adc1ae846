#include "audio/audio_sink.h"

#include "audio/audio_channel_state.h"

void CAudioSink::ReleaseConnections() {
    SetStarted(false);
    m_pAudioChannel->RemoveAudioSink(GetAudioSinkID());
}

bool CAudioSink::SetStarted(bool started) {
    if (m_bStarted.exchange(started, std::memory_order_relaxed) == started) return false;
    std::atomic<uint32_t>& count = CAudioChannelState::Of(*m_pAudioChannel).started;
    started ? count.fetch_add(1, std::memory_order_relaxed) : count.fetch_sub(1, std::memory_order_relaxed);
    return true;
}
