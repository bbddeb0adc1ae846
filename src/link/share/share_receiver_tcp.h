// The receivers of a share that speak TCP.
#pragma once

#include "link/bounds/limits.h"
#include "link/callback.h"
#include "link/relay_request.h"
#include "link/share/share_receiver.h"
#include "link/tcp/tcp_link.h"

/// All but whom they dial. `TReceiver` is the medium's CShareReceiver with the application's interface and
/// notifications.
template <class TReceiver>
class CShareReceiverDialling : public TReceiver, public ITcpClientNotify {
public:
    template <class TNotify>
    CShareReceiverDialling(TNotify& notify, CShareChannel& channel)
        : TReceiver(notify, channel), m_link(TReceiver::kMedium.kind, media::kReceiverKeepAliveEvery) {}

    void ReleaseConnections() override {
        if (RefusesRelease("A receiver of channel", TReceiver::ChannelID())) return;
        TReceiver::Detach();
        m_link.Release();
        delete this;
    }
    bool IsDisconnected() override { return m_link.Poll() == TcpPoll::Lost; }
    void OnChannelData(const void* data, int length) override {
        if (!data || length < limits::kMinFrameLen) return;
        if (m_link.SendFrame(data, length)) m_link.RestartKeepAlive();
    }
    uint32_t GetBufferingFrameCount() override { return m_link.QueuedFrames(); }
    uint64_t GetBufferedBytes() override { return m_link.QueuedBytes(); }

    bool OnTcpClientNotifyValidate(unsigned long /*type*/, const char* data, int length) override {
        m_link.Settle();
        uint32_t channelID = 0;
        if (!ReadChannelAnswer(data, length, channelID) || channelID != TReceiver::ChannelID()) return false;
        TReceiver::NotifyConnected(m_link.RemoteIP());
        return true;
    }
    bool OnTcpClientNotifyReceivedFrame(const char* data, int length) override {
        if (data && length >= limits::kMinFrameLen) TReceiver::NotifyData(data, length);
        return true;
    }

protected:
    /// `payload` begins with the channel ID.
    void SendValidation(const wire::CWireWriter& payload) {
        m_link.SendValidation(ValidationMessage(TReceiver::kMedium.tcp.receiver, payload));
    }

    CTcpLink m_link;
};

/// Subscribes to a channel at a server.
template <class TReceiver>
class CShareReceiverTCP : public CShareReceiverDialling<TReceiver> {
public:
    using CShareReceiverDialling<TReceiver>::CShareReceiverDialling;

    /// Dials address 0 of the chosen server. False when the publisher's server has no address or port, or no client was
    /// made.
    bool Connect(const CMcuAddress& publishers, const CMcuAddress& near, const CProxyServer& proxy) {
        m_request.Set(publishers, near);
        return m_request.IsWhole() &&
               this->m_link.Dial(this, m_request.Server().ips[0], m_request.Server().port, proxy);
    }
    void OnTcpClientNotifyConnected() override {
        this->m_link.Settle();
        wire::CWireWriter payload = wire::CWireWriter().U32(this->ChannelID());
        m_request.Append(payload, TReceiver::kMedium.sink);
        this->SendValidation(payload);
    }

private:
    CRelayRequest m_request;
};
