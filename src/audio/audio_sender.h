// The common base of the audio senders: a sink of the channel that forwards to a server while that wants to hear it.
#pragma once

#include "audio/audio_sink.h"

/// Its IAudioSender operations are the sink's of the same names. A frame that meets a stop may still be sent.
class CAudioSender : public CAudioSink, public IAudioSender {
public:
    CAudioSender(IAudioSenderNotify& notify, CAudioChannel& channel) : CAudioSink(channel, 0), m_pNotify(&notify) {}

    void ReleaseConnections() override { CAudioSink::ReleaseConnections(); }
    bool IsStarted() override = 0;
    bool IsDisconnected() override = 0;
    unsigned long GetBufferingFrameCount() override = 0;
    void OnAudioChannelData(const char* data, int length) override;
    void SetEnable(bool bEnable) override { m_bEnable.store(bEnable, std::memory_order_relaxed); }
    bool IsEnable() override { return m_bEnable.load(std::memory_order_relaxed); }
    unsigned long GetStartParam() override { return m_ulStartParam.load(std::memory_order_relaxed); }
    unsigned long GetSentFrameCount() override { return m_ulSentFrames.load(std::memory_order_relaxed); }

    virtual void OnReceivedStart() { m_bSendStarted.store(true, std::memory_order_relaxed); }
    virtual void OnReceivedStop() { m_bSendStarted.store(false, std::memory_order_relaxed); }
    virtual void SendAudioData(const char* data, int length) = 0;

protected:
    void NotifyConnected(uint32_t ip);
    bool IsWanted() const {
        return m_bEnable.load(std::memory_order_relaxed) && m_bSendStarted.load(std::memory_order_relaxed);
    }

    IAudioSenderNotify* const m_pNotify;  // the application's; outlives the sender
    std::atomic<uint32_t> m_ulStartParam{0};

private:
    std::atomic<bool> m_bEnable{true};
    std::atomic<bool> m_bSendStarted{false};  // the server's word
    std::atomic<uint32_t> m_ulSentFrames{0};
};
