// Subscribes to a channel at a peer's local MCU over UDP, once the peers have found each other.
#pragma once

#include "link/share_receiver_datagrams.h"
#include "p2p/peer_subscription.h"

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
