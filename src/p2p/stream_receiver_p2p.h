// Receives a stream that starts and stops from a peer's local MCU over UDP.
#pragma once

#include "link/stream/stream_receiver.h"
#include "p2p/peer_subscription.h"

#include <cstdint>

/// Waits to be taken, or asks the peer when this process was told to (SetP2PSubscribe). TDatagrams as for
/// CStreamReceiverUDP.
template <class TDatagrams>
class CStreamReceiverP2P : public TDatagrams {
public:
    template <class INotify>
    CStreamReceiverP2P(INotify& notify, uint32_t channelID, uint32_t userID)
        : TDatagrams(notify, channelID, userID, m_subscription),
          m_subscription(TDatagrams::kMedium, TDatagrams::ReceiverID()) {
        m_subscription.SetAsking(ArePeersAsked());
    }

    /// Enters the local MCU's table, and begins to look for the path if it is to ask.
    virtual bool Connect() {
        m_subscription.SetUser(this->m_ulUserID);
        m_subscription.Touch();
        if (!this->Enter()) return false;
        m_subscription.Start();
        return true;
    }
    bool IsDisconnected() override { return m_subscription.Poll(this->m_ulChannelID); }

private:
    CPeerSubscription m_subscription;
};
