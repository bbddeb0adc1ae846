// The whiteboard clients that speak TCP.
#pragma once

#include "link/relay_request.h"
#include "link/tcp/tcp_link.h"
#include "lumomedia/whiteboard.h"
#include "p2p/peer_path.h"

/// What the whiteboard clients that speak TCP share: all but whom they dial.
class CWBClientTCP : public CWBSession, public ITcpClientNotify, public IWBSessionClient {
public:
    void ReleaseConnections() override;
    bool IsDisconnected() override { return m_link.Poll() == TcpPoll::Lost; }
    void SendWBSessionData(const char* data, int len) override;

    void OnTcpClientNotifyConnected() override;
    bool OnTcpClientNotifyValidate(unsigned long type, const char* data, int length) override;
    bool OnTcpClientNotifyReceivedFrame(const char* data, int length) override;

protected:
    CWBClientTCP(IWBSessionClientNotify& notify, CWBChannel& channel);

    /// False when no client could be made.
    bool Dial(uint32_t ip, uint16_t port, const CProxyServer& proxy);
    /// The payload of the validation message.
    virtual wire::CWireWriter Request() = 0;

    CTcpLink m_link;

private:
    IWBSessionClientNotify* const m_pNotify;  // the application's; outlives the client
};

/// Joins a whiteboard channel to the one at a server over TCP.
class CWBSessionClientTCP : public CWBClientTCP {
public:
    CWBSessionClientTCP(IWBSessionClientNotify& notify, CWBChannel& channel) : CWBClientTCP(notify, channel) {}

    /// Dials address 0 of the chosen server. False when the publisher's server has no address or port, or no client was
    /// made.
    bool Connect(const CMcuAddress& publishers, const CMcuAddress& near, const CProxyServer& proxy);

protected:
    wire::CWireWriter Request() override;

private:
    CRelayRequest m_request;
};

/// Joins a whiteboard channel to the one at a peer's local MCU over TCP, as soon as its addresses are known.
class CWBSessionClientP2PTCP : public CWBClientTCP {
public:
    CWBSessionClientP2PTCP(IWBSessionClientNotify& notify, CWBChannel& channel) : CWBClientTCP(notify, channel) {}

    /// Asks for the peer's addresses.
    bool Connect(uint32_t userID);
    /// Dials as soon as they are known. True also when no connection can get in.
    bool IsDisconnected() override;

protected:
    wire::CWireWriter Request() override { return wire::CWireWriter().U32(static_cast<uint32_t>(GetWBChannelID())); }

private:
    bool DialPeer();

    CPeerPath m_path;
};
