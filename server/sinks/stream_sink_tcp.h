// A subscriber over TCP of a stream that starts and stops, which only servers have.
#pragma once

#include "link/media.h"
#include "link/process/instances.h"
#include "link/process/server_hooks.h"
#include "link/tcp/tcp_link.h"
#include "link/tcp/tcp_sink.h"

/// The subscriber wants no frames at first; of what it sends only control bytes count. TSink is the medium's sink.
template <class TSink>
class CStreamSinkTCP : public TSink, public ITcpSessionNotify {
public:
    template <class TChannel>
    CStreamSinkTCP(const CMediumRow& row, TChannel& channel, ITcpSession* session, uint32_t userID)
        : TSink(channel, userID), m_row(row), m_tcp(session) {}

    /// Takes the session's frames and answers its validation: before the sink enters its channel.
    void AnswerValidation() {
        const CSinkInfo info = TSink::Info();
        m_tcp.Answer(this, ValidationMessage(m_row.tcp.receiver,
                                             wire::CWireWriter().U32(ChannelNumber(info.channel)).U32(info.sinkID)));
    }

    // The session is released once no frame can be in flight to it; a control byte may come until then.
    void ReleaseConnections() override {
        TSink::ReleaseConnections();
        m_tcp.Release();
        this->SetStarted(false);
    }
    bool IsDisconnected() override { return m_tcp.Poll(); }
    unsigned long GetBufferingFrameCount() override { return m_tcp.QueuedFrames(); }
    void CloseWhenSent() override { m_tcp.CloseWhenSent(); }
    CSinkInfo Info() override { return m_tcp.Describe(TSink::Info()); }

    bool OnTcpSessionNotifyReceivedFrame(const char* data, int length) override {
        if (data && length == 1) OnControl(data[0]);
        return true;
    }

protected:
    /// A control byte of the subscriber. TCP thread.
    virtual void OnControl(char control) {
        if (control != m_row.tcp.start && control != m_row.tcp.stop) return;
        if (!this->SetStarted(control == m_row.tcp.start)) return;
        if (IServerHooks* hooks = GetServerHooks()) hooks->OnSinkChanged(Info());
    }

    const CMediumRow& m_row;
    CTcpSink m_tcp;
};
