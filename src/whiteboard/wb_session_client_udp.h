// Joins a whiteboard channel to the one at a server over UDP.
#pragma once

#include "link/udp_subscription.h"
#include "whiteboard/wb_client_udp.h"

class CWBSessionClientUDP : public CWBClientUDP {
public:
    CWBSessionClientUDP(IWBSessionClientNotify& notify, CWBChannel& channel);

    /// Sends the connect request; false when the session could not be opened.
    virtual bool Connect(const CMcuAddress& peer, const CMcuAddress& local, bool peerMCUOnly);
    virtual void SendConnect() { m_subscription.SendConnect(static_cast<uint32_t>(GetWBChannelID())); }

protected:
    bool IsSilent() override { return m_subscription.IsSilent(static_cast<uint32_t>(GetWBChannelID())); }

private:
    CUdpSubscription m_subscription;
};
