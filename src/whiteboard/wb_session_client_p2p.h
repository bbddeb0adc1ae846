// Joins a whiteboard channel to the one at a peer's local MCU over UDP, once the peers have found each other.
#pragma once

#include "p2p/peer_subscription.h"
#include "whiteboard/wb_client_udp.h"

class CWBSessionClientP2P : public CWBClientUDP {
public:
    CWBSessionClientP2P(IWBSessionClientNotify& notify, CWBChannel& channel);

    /// Begins to look for the path; false when the session could not be opened.
    virtual bool Connect(uint32_t userID);
    virtual void SendConnect(uint32_t ip, uint16_t port) {
        m_subscription.SendConnect(static_cast<uint32_t>(GetWBChannelID()), ip, port);
    }

protected:
    bool IsSilent() override { return m_subscription.IsSilent(static_cast<uint32_t>(GetWBChannelID())); }

private:
    CPeerSubscription m_subscription;
};
