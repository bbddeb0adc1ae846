// Joins a whiteboard channel to the one at a server over TCP.
#pragma once

#include "link/relay_request.h"
#include "whiteboard/wb_client_tcp.h"

class CWBSessionClientTCP : public CWBClientTCP {
public:
    CWBSessionClientTCP(IWBSessionClientNotify& notify, CWBChannel& channel) : CWBClientTCP(notify, channel) {}

    /// Dials address 0 of the chosen server. False when the peer MCU has no address or port, or no client was made.
    bool Connect(const CMcuAddress& peer, const CMcuAddress& local, const CProxyServer& proxy);

protected:
    wire::CDatagram Request() override;

private:
    CRelayRequest m_request;
};
