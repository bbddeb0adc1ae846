// The rows of files and desktops in the scenario list, towards peers.
#include "lumomedia/p2p.h"
#include "sim/endpoints_share.h"
#include "support/p2p_peer.h"

using namespace share_endpoints;

namespace {

/// One that subscribes at the peer once there is a way.
template <class M>
class CReceiverP2P : public CShareReceiverSide<M> {
public:
    explicit CReceiverP2P(CTestHost& host) : CShareReceiverSide<M>(host) {
        SetP2PSubscribe(true);  // files do in any case
        this->m_pObject = M::kReceiverP2P(this->m_notify, kChannelID, kPeerUser);
        SetP2PSubscribe(false);
        m_peer.Announce("P2P_START_ACK", kPeerUser);
        host.Deliver(Hex("03 08000000"));
        this->m_pObject->IsDisconnected();  // knows the way and asks
        this->FindID();
    }

private:
    CAnsweringPeer m_peer;
};

/// One that asks for nothing, but takes what comes.
class CWaitingDesktopP2P : public CShareReceiverSide<Desktop> {
public:
    explicit CWaitingDesktopP2P(CTestHost& host) : CShareReceiverSide(host) {
        m_pObject = CreateDesktopReceiverP2P(m_notify, kChannelID, kPeerUser);
        m_peer.Announce("P2P_START_ACK", kPeerUser);
        host.Deliver(Hex("03 08000000"));
        FindID();
    }

private:
    CAnsweringPeer m_peer;
};

template <class M>
class CReceiverP2PTcp : public CShareTcpReceiver<M> {
public:
    explicit CReceiverP2PTcp(CTestHost& host) : CShareTcpReceiver<M>(host) {
        this->m_pObject = M::kReceiverP2PTCP(this->m_notify, kChannelID, kPeerUser);
        m_peer.Announce("P2P_FETCH_ACK", kPeerUser);
        this->m_pObject->IsDisconnected();  // knows the way and dials
        this->m_pTcp = &host.net.LastClient();
        this->m_pTcp->clientNotify->OnTcpClientNotifyConnected();
    }

private:
    CAnsweringPeer m_peer;
};

}  // namespace

std::vector<EndpointRow> SharePeerEndpoints() {
    return {
        // name, make, udp, session, minWrite, minArrive, connectTimeout, resends, keepAliveEvery, atAccept, restarts,
        // goodbyes
        {"FileReceiverP2P", MakeEndpoint<CReceiverP2P<File>>, true, true, 2, 2, 2000, true, 12, 1, false, 3},
        {"FileReceiverP2PTCP", MakeEndpoint<CReceiverP2PTcp<File>>, false, false, 2, 2, 0, false, 12, 0, true, 1},
        {"DesktopReceiverP2P", MakeEndpoint<CWaitingDesktopP2P>, true, false, 2, 1, kNeverThere, false, 0, 0, false, 2},
        {"DesktopReceiverP2PAsking", MakeEndpoint<CReceiverP2P<Desktop>>, true, false, 2, 1, 2000, true, 12, 1, false,
         2},
        {"DesktopReceiverP2PTCP", MakeEndpoint<CReceiverP2PTcp<Desktop>>, false, false, 2, 2, 0, false, 12, 0, true, 1},
    };
}
