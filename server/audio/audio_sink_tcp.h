// A subscriber of audio over TCP.
#pragma once

#include "audio/audio_constants.h"
#include "audio/audio_sink.h"
#include "server/stream_sink_tcp.h"

class CAudioSinkTCP : public CStreamSinkTCP<CAudioSink> {
public:
    CAudioSinkTCP(CAudioChannel& channel, ITcpSession* session, uint32_t userID)
        : CStreamSinkTCP(media::kAudio, channel, session, userID) {
        m_tcp.SetMaxAge(audio::kMaxWaitMs);
    }

    void OnAudioChannelData(const char* data, int length) override {
        if (IsStarted() && data && length >= limits::kMinFrameLen) m_tcp.Send(data, length);
    }
};
