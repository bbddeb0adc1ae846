// A subscriber of audio over TCP, which only servers have.
#pragma once

#include "audio/audio_sink.h"
#include "link/tcp_sink.h"

/// Starts as one that wants nothing; of what it sends only control bytes count.
class CAudioSinkTCP : public CAudioSink, public ITcpSessionNotify {
public:
    CAudioSinkTCP(CAudioChannel& channel, ITcpSession* session, uint32_t userID)
        : CAudioSink(channel, userID), m_tcp(session) {}

    /// Takes the session's frames and answers its validation: before the sink enters its channel.
    void AnswerValidation();

    void ReleaseConnections() override;
    bool IsDisconnected() override { return CAudioSink::IsDisconnected() || m_tcp.IsDisconnected(); }
    void OnAudioChannelData(const char* data, int length) override;
    unsigned long GetBufferingFrameCount() override { return m_tcp.QueuedFrames(); }
    void CloseWhenSent() override { m_tcp.CloseWhenSent(); }
    CSinkInfo Info() override;

    bool OnTcpSessionNotifyReceivedFrame(const char* data, int length) override;

private:
    CTcpSink m_tcp;
};
