#include "p2p/peer_path.h"

std::shared_ptr<CMTP2PIP> CPeerPath::Peer() const {
    CMTP2P* manager = GetP2PMgr();
    return manager ? manager->GetMTP2PIP(m_ulUserID) : nullptr;
}

void CPeerPath::StartUdp() {
    if (CMTP2P* manager = GetP2PMgr()) manager->StartP2PCaller(m_ulUserID);
}

// Whom the manager knew and knows no more has given way to others: what it says would be awaited for ever.
CPeerPath::Udp CPeerPath::GetUdp() {
    const CMTP2P* manager = GetP2PMgr();
    const auto peer = Peer();
    if (!peer) return manager && manager == m_pKnewPeer ? Udp::Failed : Udp::Negotiating;
    m_pKnewPeer = manager;
    if (peer->IsConnected()) return Udp::Connected;
    return peer->IsFailed() ? Udp::Failed : Udp::Negotiating;
}

void CPeerPath::StartTcp() {
    if (CMTP2P* manager = GetP2PMgr()) manager->FetchMTP2PIP(m_ulUserID);
}

CPeerPath::TcpWay CPeerPath::GetTcp() const {
    TcpWay way;
    way.peer = Peer();
    CMTP2P* manager = GetP2PMgr();
    if (!way.peer || !manager) return way;
    manager->GetLocalP2PItem(way.own);
    const bool sameNat = way.peer->m_ulNATIP == static_cast<uint32_t>(way.own.ulNATIP);
    const bool enterable = way.peer->m_bUpnp || way.peer->m_ulNATIP == way.peer->m_ulLocalIP;
    way.tcp = sameNat ? Tcp::SameNat : enterable ? Tcp::Open : Tcp::Closed;
    way.ip = sameNat ? way.peer->m_ulLocalIP : way.peer->m_ulNATIP;
    way.port = way.peer->m_usLocalUDPPort;
    const bool self = sameNat && way.ip == way.own.ulLocalIP && way.port == way.own.usLocalUDPPort;
    way.reachable = !self && manager->MayReach(way.ip, way.port);
    return way;
}
