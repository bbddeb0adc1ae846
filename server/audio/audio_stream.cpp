#include "server/audio/audio_stream.h"

#include "audio/audio_channel_state.h"
#include "audio/audio_constants.h"
#include "audio/audio_sink.h"
#include "server/listener.h"

CAudioStream::CAudioStream(uint32_t channelID, const CServerLimits& limits)
    : CStream("audio", limits), m_ulChannelID(channelID), m_channel(channelID) {
    CAudioChannelState::Of(m_channel).deleted = false;  // it is the stream's own
}

size_t CAudioStream::SinkCount() { return CAudioChannelState::Of(m_channel).hub.SinkCount(); }

uint32_t CAudioStream::Wanted() { return CAudioChannelState::Of(m_channel).started.load(std::memory_order_relaxed); }

int CAudioStream::MaxFrame() const { return audio::kMaxFrame; }

void CAudioStream::SendToSinks(const void* data, int length) {
    m_channel.OnAudioChannelData(static_cast<const char*>(data), length);
}

void CAudioStream::ForEachListener(void* context, void (*use)(void* context, const CListenerStatus& listener)) {
    CAudioChannelState::Of(m_channel).hub.ForEachSinkWhile([&](CAudioSink& sink) {
        use(context, DescribeListener(sink));
        return true;
    });
}
