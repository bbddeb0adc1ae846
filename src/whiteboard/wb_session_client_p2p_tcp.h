// Joins a whiteboard channel to the one at a peer's local MCU over TCP, as soon as its addresses are known.
#pragma once

#include "p2p/peer_path.h"
#include "whiteboard/wb_client_tcp.h"

class CWBSessionClientP2PTCP : public CWBClientTCP {
public:
    CWBSessionClientP2PTCP(IWBSessionClientNotify& notify, CWBChannel& channel) : CWBClientTCP(notify, channel) {}

    /// Asks for the peer's addresses.
    bool Connect(uint32_t userID);
    /// Dials as soon as they are known. True also when no connection can get in.
    bool IsDisconnected() override;

protected:
    wire::CDatagram Request() override { return wire::CDatagram().U32(static_cast<uint32_t>(GetWBChannelID())); }

private:
    bool DialPeer();

    CPeerPath m_path;
};
