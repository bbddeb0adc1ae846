// A peer's receiver attached to a channel of this host over TCP.
#pragma once

#include "link/share/share_sink.h"
#include "link/tcp/tcp_link.h"
#include "link/tcp/tcp_sink.h"

/// `TSink` is the medium's CShareSink.
template <class TSink>
class CShareSinkTCP : public TSink, public ITcpSessionNotify {
public:
    CShareSinkTCP(CShareChannel& channel, ITcpSession* session) : TSink(channel), m_tcp(session) {}

    /// Takes the session's frames and answers its validation: before the sink enters its channel.
    void AnswerValidation() {
        m_tcp.Answer(this, ValidationMessage(TSink::kMedium.tcp.receiver, wire::CWireWriter().U32(TSink::ChannelID())));
    }

    void ReleaseConnections() override {
        TSink::ReleaseConnections();
        m_tcp.Release();
    }
    bool IsDisconnected() override { return m_tcp.Poll(); }
    void OnChannelData(const void* data, int length) override {
        if (data && length >= limits::kMinFrameLen) m_tcp.Send(data, length);
    }
    uint32_t GetBufferingFrameCount() override { return m_tcp.QueuedFrames(); }
    bool OnTcpSessionNotifyReceivedFrame(const char* data, int length) override {
        TSink::OnUpstreamFrame(data, length);
        return true;
    }
    void LimitQueue(uint64_t bytes) override { m_tcp.LimitQueue(bytes); }
    void CloseWhenSent() override { m_tcp.CloseWhenSent(); }
    CSinkInfo Info() override { return m_tcp.Describe(TSink::Info()); }

private:
    CTcpSink m_tcp;
};
