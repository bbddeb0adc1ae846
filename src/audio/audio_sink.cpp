#include "audio/audio_sink.h"

#include "audio/audio_channel_state.h"

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
