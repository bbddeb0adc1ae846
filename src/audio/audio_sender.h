// The common base of the audio senders: a sink of the channel that forwards to a server while that wants to hear it.
#pragma once

#include "audio/audio_sink.h"
#include "link/stream_sender.h"

class CAudioSender : public CStreamSender<CAudioSink, IAudioSender, IAudioSenderNotify> {
public:
    using CStreamSender::CStreamSender;

    unsigned long GetBufferingFrameCount() override = 0;
    void OnAudioChannelData(const char* data, int length) override {
        if (!IsStarted()) return;
        SendAudioData(data, length);
        m_ulSentFrames.fetch_add(1, std::memory_order_relaxed);
    }
    unsigned long GetSentFrameCount() override { return m_ulSentFrames.load(std::memory_order_relaxed); }

    virtual void SendAudioData(const char* data, int length) = 0;

private:
    std::atomic<uint32_t> m_ulSentFrames{0};
};
