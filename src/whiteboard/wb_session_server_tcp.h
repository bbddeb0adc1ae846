// A peer's whiteboard client attached to a channel of this host over TCP.
#pragma once

#include "link/tcp_sink.h"
#include "whiteboard/wb_server_session.h"

class CWBSessionServerTCP : public CWBServerSession, public ITcpSessionNotify {
public:
    CWBSessionServerTCP(CWBChannel& channel, ITcpSession* session) : CWBServerSession(channel), m_tcp(session) {}

    /// Takes the session's frames and answers its validation: before it joins its channel.
    void AnswerValidation();

    void LeaveWBChannel() override;
    void SendWBSessionData(const char* data, int len) override;
    bool IsDisconnected() override { return m_tcp.IsDisconnected(); }
    bool OnTcpSessionNotifyReceivedFrame(const char* data, int length) override;
    void LimitQueue(uint64_t bytes) override { m_tcp.LimitQueue(bytes); }
    void CloseWhenSent() override { m_tcp.CloseWhenSent(); }
    CSinkInfo Info() override { return m_tcp.Describe(CWBServerSession::Info()); }
    uint32_t GetBufferingFrameCount() override { return m_tcp.QueuedFrames(); }

protected:
    uint64_t Queued() override { return m_tcp.QueueCost(); }
    uint64_t MostQueued() override { return m_tcp.QueueLimit(); }

private:
    CTcpSink m_tcp;
};
