// The file medium's rows of the scenario list, towards peers.
#include "sim/endpoints_file.h"
#include "support/p2p_peer.h"

using namespace file_endpoints;

namespace {

constexpr uint32_t kPeerUser = 8;

class CReceiverP2P : public CUdpReceiver {
public:
    explicit CReceiverP2P(CTestHost& host) : CUdpReceiver(host) {
        m_pReceiver = CreateFileReceiverP2P(*this, kChannelID, kPeerUser);
        m_peer.Announce("P2P_START_ACK", kPeerUser);
        m_host.Deliver(Hex("03 08000000"));
        m_host.TakeSent();
        m_pReceiver->IsDisconnected();  // knows the way and asks
        m_ulID = session_wire::ReadU32(m_host.TakeSent().at(0).bytes, 2);
    }

private:
    CAnsweringPeer m_peer;
};

class CReceiverP2PTcp : public CTcpReceiver {
public:
    explicit CReceiverP2PTcp(CTestHost& host) : CTcpReceiver(host) {
        m_pObject = CreateFileReceiverP2PTCP(*this, kChannelID, kPeerUser);
        m_peer.Announce("P2P_FETCH_ACK", kPeerUser);
        m_pObject->IsDisconnected();  // knows the way and dials
        m_pTcp = &m_host.net.LastClient();
        m_pTcp->clientNotify->OnTcpClientNotifyConnected();
    }

private:
    CAnsweringPeer m_peer;
};

}  // namespace

std::vector<EndpointRow> FilePeerEndpoints() {
    return {
        // name, make, udp, session, minWrite, minArrive, connectTimeout, resends, keepAliveEvery, atAccept, restarts,
        // goodbyes
        {"FileReceiverP2P", MakeEndpoint<CReceiverP2P>, true, true, 2, 2, 2000, true, 12, 1, false, 3},
        {"FileReceiverP2PTCP", MakeEndpoint<CReceiverP2PTcp>, false, false, 2, 2, 0, false, 12, 0, true, 1},
    };
}
