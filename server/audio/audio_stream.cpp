#include "server/audio/audio_stream.h"

#include "audio/audio_constants.h"
#include "audio/audio_sink.h"

CAudioStream::CAudioStream(uint32_t channelID, const CServerLimits& limits)
    : CStartedStream("audio", channelID, limits) {}

int CAudioStream::MaxFrame() const { return audio::kMaxFrame; }

void CAudioStream::SendToSinks(const void* data, int length) {
    m_channel.OnAudioChannelData(static_cast<const char*>(data), length);
}
