// The receivers of a share that speak TCP.
#pragma once

#include "link/callback.h"
#include "link/limits.h"
#include "link/share_profile.h"
#include "link/share_receiver.h"
#include "link/tcp_link.h"

/// All but whom they dial. `TReceiver` is the medium's CShareReceiver with the application's interface and
/// notifications.
template <class TReceiver>
class CShareReceiverDialling : public TReceiver, public ITcpClientNotify {
public:
    template <class TNotify>
    CShareReceiverDialling(TNotify& notify, CShareChannel& channel)
        : TReceiver(notify, channel), m_link(TReceiver::Profile().codes.kind, CShareProfile::kReceiverKeepAliveEvery) {}

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
    void SendValidation(const wire::CDatagram& payload) {
        m_link.SendValidation(ValidationMessage(TReceiver::Profile().codes.receiver, payload));
    }

    CTcpLink m_link;
};

/// Subscribes to a channel at a server.
template <class TReceiver>
class CShareReceiverTCP : public CShareReceiverDialling<TReceiver> {
public:
    using CShareReceiverDialling<TReceiver>::CShareReceiverDialling;

    /// Dials address 0 of the chosen server. False when the peer MCU has no address or port, or no client was made.
    bool Connect(const CMcuAddress& peer, const CMcuAddress& local, const CProxy& proxy) {
        if (peer.IsEmpty() || peer.port == 0) return false;
        m_peerMcu = peer;
        m_localMcu = local;
        const CMcuAddress& mcu = ChoosePeerMcu(peer, local, false) ? m_peerMcu : m_localMcu;
        return this->m_link.Dial(this, mcu.ips[0], mcu.port, proxy);
    }
    void OnTcpClientNotifyConnected() override {
        this->m_link.Settle();
        const bool peer = ChoosePeerMcu(m_peerMcu, m_localMcu, false);
        wire::CDatagram payload;
        payload.U32(this->ChannelID());
        for (uint32_t ip : m_peerMcu.ips) payload.U32(peer ? 0 : ip);  // zeros: nothing to relay
        if (TReceiver::Profile().namesRelayPort) payload.U16(peer ? uint16_t{0} : m_peerMcu.port);
        this->SendValidation(payload);
    }

private:
    CMcuAddress m_peerMcu;  // both set before the dial
    CMcuAddress m_localMcu;
};
