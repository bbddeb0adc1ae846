// Subscribes to a channel at a server over UDP, its frames in the reliable session.
#pragma once

#include "link/share_receiver_datagrams.h"
#include "link/udp_subscription.h"

template <class TReceiver>
class CShareReceiverUDP : public CShareReceiverDatagrams<TReceiver, CUdpSubscription> {
public:
    using CShareReceiverDatagrams<TReceiver, CUdpSubscription>::CShareReceiverDatagrams;

    /// Sends the connect request; false when the session could not be opened.
    bool Connect(const CMcuAddress& peer, const CMcuAddress& local, bool peerMCUOnly) {
        this->m_link.SetMcus(peer, local, peerMCUOnly);
        if (!this->IsSessionOpen()) return false;
        SendConnect();
        return true;
    }
    void SendConnect() { this->m_link.SendConnect(this->ChannelID()); }
};
