#include "server/audio/audio_stream.h"

#include "audio/audio_constants.h"
#include "audio/audio_sink.h"
#include "audio/local_mcu_audio.h"

CAudioStream::CAudioStream(const CStreamName& name, const CServerLimits& limits)
    : CStartedStream("audio", name, limits) {}

void CAudioStream::Open() {
    if (CLocalMCUAudio* mcu = GetLocalMCUAudio()) mcu->AddAudioChannel(m_pChannel.get());
}

int CAudioStream::MaxFrame() const { return audio::kMaxFrame; }

void CAudioStream::SendToSinks(const void* data, int length) {
    m_pChannel->OnAudioChannelData(static_cast<const char*>(data), length);
}
