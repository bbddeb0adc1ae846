// The receivers of a share that ask a peer.
#pragma once

#include "link/share/share_receiver_tcp.h"
#include "link/share/share_receiver_udp.h"
#include "p2p/peer_path.h"
#include "p2p/peer_subscription.h"

/// Subscribes to a channel at a peer's local MCU over UDP, once the peers have found each other.
template <class TReceiver>
class CShareReceiverP2P : public CShareReceiverDatagrams<TReceiver, CPeerSubscription> {
public:
    using CShareReceiverDatagrams<TReceiver, CPeerSubscription>::CShareReceiverDatagrams;

    /// Begins to look for the path; false when the session could not be opened.
    bool Connect(uint32_t userID) {
        this->m_link.SetUser(userID);
        if (!this->IsSessionOpen()) return false;
        this->m_link.Start();
        return true;
    }
    void SendConnect(uint32_t ip, uint16_t port) { this->m_link.SendConnect(this->ChannelID(), ip, port); }
};

/// Subscribes to a channel at a peer's local MCU over TCP, once the peer's addresses are known.
template <class TReceiver>
class CShareReceiverP2PTCP : public CShareReceiverDialling<TReceiver> {
public:
    using CShareReceiverDialling<TReceiver>::CShareReceiverDialling;

    /// Asks for the peer's addresses.
    void Connect(uint32_t userID) {
        m_path.SetUser(userID);
        m_path.StartTcp();
    }
    /// Dials as soon as they are known. True also when no connection can get in.
    bool IsDisconnected() override {
        const TcpPoll poll = this->m_link.Poll();
        return poll == TcpPoll::NoClient ? !Dial() : poll == TcpPoll::Lost;
    }
    void OnTcpClientNotifyConnected() override {
        this->m_link.Settle();
        this->SendValidation(wire::CWireWriter().U32(this->ChannelID()));
    }

protected:
    /// There is no way, or it has been dialled.
    virtual void OnWay(const CPeerPath::TcpWay& /*way*/) {}

private:
    // False when there is no way, or no client was made.
    bool Dial() {
        const CPeerPath::TcpWay way = m_path.GetTcp();
        if (way.tcp == CPeerPath::Tcp::Unknown) return true;
        const bool open = way.tcp != CPeerPath::Tcp::Closed;
        const bool made = open && way.reachable && this->m_link.Dial(this, way.ip, way.port, {});
        OnWay(way);
        return made;
    }

    CPeerPath m_path;
};
