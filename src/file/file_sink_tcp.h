// A peer's receiver attached to a channel of this host over TCP.
#pragma once

#include "file/file_sink.h"
#include "link/tcp_sink.h"

class CFileSinkTCP : public CFileSink, public ITcpSessionNotify {
public:
    CFileSinkTCP(CFileChannel& channel, ITcpSession* session);

    /// Takes the session's frames and answers its validation: before the sink enters its channel.
    void AnswerValidation();

    void ReleaseConnections() override;
    bool IsDisconnected() override { return m_tcp.IsDisconnected(); }
    void OnFileChannelData(const void* data, int length) override;
    uint32_t GetBufferingFrameCount() override { return m_tcp.QueuedFrames(); }
    bool OnTcpSessionNotifyReceivedFrame(const char* data, int length) override;
    void LimitQueue(uint64_t bytes) override { m_tcp.LimitQueue(bytes); }
    void CloseWhenSent() override { m_tcp.CloseWhenSent(); }
    CSinkInfo Info() override;

private:
    CTcpSink m_tcp;
};
