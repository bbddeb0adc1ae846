// A subscriber over TCP of a stream that starts and stops, which only servers have.
#pragma once

#include "link/instances.h"
#include "link/media.h"
#include "link/server_hooks.h"
#include "link/tcp_link.h"
#include "link/tcp_sink.h"

/// Starts as one that wants nothing; of what it sends only control bytes count. TSink is the medium's sink.
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
                                             wire::CDatagram().U32(ChannelNumber(info.channel)).U32(info.sinkID)));
    }

    // The session is let go when no frame can be under way to it any more; a control byte may come until then.
    void ReleaseConnections() override {
        TSink::ReleaseConnections();
        m_tcp.Release();
        this->SetStarted(false);
    }
    bool IsDisconnected() override { return m_tcp.IsDisconnected(); }
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
