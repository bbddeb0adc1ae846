// The senders of audio: what they have in common, and one for each way to a server.
#pragma once

#include "audio/audio_sink.h"
#include "link/process/link_registry.h"
#include "link/stream/stream_sender.h"

/// The common base of the audio senders: a sink of the channel that forwards to a server while that wants to hear it.
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

/// Publishes an audio channel to a server over UDP.
class CAudioSenderUDP : public CStreamSenderUDP<CAudioSender>, public ILinkReport {
public:
    CAudioSenderUDP(IAudioSenderNotify& notify, CAudioChannel& channel);

    void ReleaseConnections() override;
    bool Connect(uint32_t ip0, uint32_t ip1, uint32_t ip2, uint16_t port) override;
    unsigned long GetBufferingFrameCount() override { return 0; }
    void SendAudioData(const char* data, int length) override;
    void FillStatistics(LumoLinkStatistics& statistics) override;

private:
    CLinkEntry m_entry;
};

/// Publishes an audio channel to a server over TCP.
class CAudioSenderTCP : public CStreamSenderTCP<CAudioSender> {
public:
    CAudioSenderTCP(IAudioSenderNotify& notify, CAudioChannel& channel);

    void SendAudioData(const char* data, int length) override;
};
