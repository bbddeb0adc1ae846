// Publishes a channel to a server over TCP.
#pragma once

#include "link/callback.h"
#include "link/mcu_address.h"
#include "link/share/share_sink.h"
#include "link/tcp/tcp_link.h"

/// `TSender` is the medium's CShareSink with the application's interface and notifications.
template <class TSender>
class CShareSenderTCP : public TSender, public ITcpClientNotify {
public:
    template <class TNotify>
    CShareSenderTCP(TNotify& notify, CShareChannel& channel)
        : TSender(notify, channel), m_link(TSender::kMedium.kind, TSender::kMedium.tcp.senderKeepAliveEvery) {}

    void ReleaseConnections() override {
        if (RefusesRelease("A sender of channel", TSender::ChannelID())) return;
        TSender::ReleaseConnections();
        m_link.Release();
        delete this;
    }
    bool IsDisconnected() override { return m_link.Poll() == TcpPoll::Lost; }
    uint32_t GetBufferingFrameCount() override { return m_link.QueuedFrames(); }
    void OnChannelData(const void* data, int length) override { m_link.SendFrame(data, length); }
    /// Dials address 0 and only that; the others serve the test for any address at all.
    bool Connect(const CMcuAddress& mcu, const CProxyServer& proxy) {
        if (mcu.IsEmpty() || mcu.port == 0) return false;
        OnDial(mcu);
        return m_link.Dial(this, mcu.ips[0], mcu.port, proxy);
    }

    void OnTcpClientNotifyConnected() override {
        m_link.Settle();
        m_link.SendValidation(
            ValidationMessage(TSender::kMedium.tcp.sender, wire::CWireWriter().U32(TSender::ChannelID())));
    }
    bool OnTcpClientNotifyValidate(unsigned long /*type*/, const char* data, int length) override {
        m_link.Settle();
        uint32_t channelID = 0;
        const bool sized = ReadChannelAnswer(data, length, channelID);
        OnAnswer(sized, channelID);
        if (channelID == 0) return false;
        TSender::NotifyConnected(m_link.RemoteIP());
        return true;
    }
    bool OnTcpClientNotifyReceivedFrame(const char* data, int length) override {
        TSender::OnUpstreamFrame(data, length);
        return true;
    }

protected:
    /// Just before the dial, and before an answer is judged: `sized` is whether it could be one.
    virtual void OnDial(const CMcuAddress& /*mcu*/) {}
    virtual void OnAnswer(bool /*sized*/, uint32_t /*channelID*/) {}

private:
    CTcpLink m_link;
};
