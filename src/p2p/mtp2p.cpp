#include "p2p/mtp2p.h"

#include "core/wire/commands.h"
#include "link/bounds/limits.h"
#include "link/callback.h"
#include "link/process/instances.h"
#include "link/process/mcu_services.h"
#include "p2p/p2p_packets.h"
#include "platform/lumobase/app_log.h"
#include "platform/lumonet/lumonet.h"

#include <algorithm>
#include <new>
#include <utility>

using wire::CWireReader;

CMTP2P::CMTP2P(IP2PNotify& notify) : m_pNotify(&notify) { Instances().pP2P.store(this, std::memory_order_release); }

CMTP2P::~CMTP2P() { Instances().pP2P.store(nullptr, std::memory_order_release); }

void CMTP2P::ReleaseConnections() {
    if (RefusesRelease("The peer-to-peer manager", 0)) return;
    {
        CAutoLock lock(&m_csPeers);
        m_mapPeers.clear();
        m_listByAge.clear();
        m_announced.clear();
    }
    delete this;
}

std::shared_ptr<CMTP2PIP> CMTP2P::GetMTP2PIP(uint32_t userID) {
    CAutoLock lock(&m_csPeers);
    const auto found = m_mapPeers.find(userID);
    return found == m_mapPeers.end() ? nullptr : found->second.peer;
}

bool CMTP2P::IsP2PConnected(uint32_t userID) {
    const auto peer = GetMTP2PIP(userID);
    return peer && peer->IsConnected();
}

bool CMTP2P::IsP2PFailed(uint32_t userID) {
    const auto peer = GetMTP2PIP(userID);
    return peer && peer->IsFailed();
}

void CMTP2P::AddP2P(uint32_t userID, const P2PItem& item) {
    const auto natIP = static_cast<uint32_t>(item.ulNATIP);
    const auto localIP = static_cast<uint32_t>(item.ulLocalIP);
    LUMO_LOG_LINE(
        "CMTP2P::AddP2P(UserID : %u, NATIP : %s, NATUDPPort : %u, LocalIP : %s, LocalUDPPort : %u, Upnp : %d).", userID,
        GetIpAddr(natIP).c_str(), item.usNATUDPPort, GetIpAddr(localIP).c_str(), item.usLocalUDPPort, item.bUpnp);
    auto peer = std::make_shared<CMTP2PIP>(natIP, item.usNATUDPPort, localIP, item.usLocalUDPPort, item.bUpnp);
    std::list<uint32_t> age{userID};
    Known gone;  // deleted outside the lock
    CAutoLock lock(&m_csPeers);
    const auto found = m_mapPeers.find(userID);
    if (found != m_mapPeers.end()) {
        CountAddresses(*found->second.peer, false);
        found->second.peer.swap(peer);
        m_listByAge.splice(m_listByAge.end(), m_listByAge, found->second.age);
        return CountAddresses(*found->second.peer, true);
    }
    if (m_mapPeers.size() >= limits::kMaxPeers) gone = TakeLeastNeeded();
    const auto entry = m_mapPeers.emplace(userID, Known{std::move(peer), age.begin()}).first;
    m_listByAge.splice(m_listByAge.end(), age);
    CountAddresses(*entry->second.peer, true);
}

CMTP2P::Known CMTP2P::TakeLeastNeeded() {
    const auto isUnconnected = [this](uint32_t userID)
                                   LUMO_REQUIRES(m_csPeers) { return !m_mapPeers.at(userID).peer->IsConnected(); };
    auto oldest = std::find_if(m_listByAge.begin(), m_listByAge.end(), isUnconnected);
    if (oldest == m_listByAge.end()) oldest = m_listByAge.begin();
    Known taken = std::move(m_mapPeers.at(*oldest));
    m_mapPeers.erase(*oldest);
    m_listByAge.erase(oldest);
    CountAddresses(*taken.peer, false);
    return taken;
}

// Without memory some are not counted: they come as strangers then.
void CMTP2P::CountAddresses(const CMTP2PIP& peer, bool comes) {
    for (const uint32_t ip : {peer.m_ulNATIP, peer.m_ulLocalIP}) {
        if (comes) {
            try {
                ++m_announced[ip];
            } catch (const std::bad_alloc&) {}
            continue;
        }
        const auto count = m_announced.find(ip);
        if (count != m_announced.end() && --count->second == 0) m_announced.erase(count);
    }
}

bool CMTP2P::IsAnnounced(uint32_t ip) {
    CAutoLock lock(&m_csPeers);
    return m_announced.count(ip) != 0;
}

void CMTP2P::ResetP2P(uint32_t userID) {
    LUMO_LOG_LINE("CMTP2P::ResetP2P(UserID : %u)", userID);
    const auto peer = GetMTP2PIP(userID);
    if (!peer) return;
    peer->m_byState.store(CMTP2PIP::kNegotiating, std::memory_order_relaxed);
    peer->m_byTryCount.store(0, std::memory_order_relaxed);
}

void CMTP2P::SendUdpP2P(uint32_t userID) {
    const auto peer = GetMTP2PIP(userID);
    if (!peer) return;
    if (peer->m_byTryCount.fetch_add(1, std::memory_order_relaxed) >= p2p::kPunches) {
        uint8_t negotiating = CMTP2PIP::kNegotiating;  // a probe that arrives meanwhile wins
        peer->m_byState.compare_exchange_strong(negotiating, CMTP2PIP::kFailed, std::memory_order_relaxed);
        return;
    }
    const wire::CWireWriter probe = p2p::Probe(wire::Kind::P2P, LocalUserID());
    ForEachUdpAddress(*peer, [&probe](uint32_t ip, uint16_t port) {
        for (int i = 0; i < p2p::kRepeats; ++i) SendDatagram(probe, ip, port);
    });
}

bool CMTP2P::MayReach(uint32_t ip, uint16_t port) {
    if (!p2p::IsHostAddress(ip, port)) return false;
    if (!p2p::IsLoopback(ip)) return true;
    P2PItem own;
    GetLocalP2PItem(own);
    return p2p::IsLoopback(own.ulLocalIP) || p2p::IsLoopback(own.ulNATIP);
}

void CMTP2P::GetLocalP2PItem(P2PItem& item) {
    item = P2PItem();
    CallApplication([&] { m_pNotify->OnP2PNotifyGetP2PItem(item); });
}

uint32_t CMTP2P::LocalUserID() {
    uint32_t userID = 0;
    CallApplication([&] { userID = static_cast<uint32_t>(m_pNotify->OnP2PNotifyGetUserID()); });
    return userID;
}

void CMTP2P::OnP2PConnected(uint32_t userID, uint32_t ip, uint16_t port) {
    LUMO_LOG_LINE("OnP2PConnected. UserID : %u. Ip : %s, Port : %u", userID, GetIpAddr(ip).c_str(), port);
    const auto peer = GetMTP2PIP(userID);
    if (!peer) return;
    peer->m_heard.Set(ip, port);
    if (ip == peer->m_ulNATIP) peer->m_usNATUDPPort.store(port, std::memory_order_relaxed);
    peer->m_byState.store(CMTP2PIP::kConnected, std::memory_order_release);
}

void CMTP2P::SetSunServer(unsigned long ulIP, unsigned short usPort) {
    const auto ip = static_cast<uint32_t>(ulIP);
    LUMO_LOG_LINE("CMTP2P::SetSunServer(IP : %s,Port : %d)", GetIpAddr(ip).c_str(), usPort);
    m_sunServer.Set(ip, usPort);
    m_bSTUNPending.store(true, std::memory_order_release);
}

void CMTP2P::SendSTUNRequest() {
    if (!m_bSTUNPending.load(std::memory_order_acquire)) return;
    const wire::CWireWriter request = wire::CWireWriter().U8(static_cast<uint8_t>(wire::Kind::Stun));
    SendDatagram(request, m_sunServer);
}

void CMTP2P::OnSTUNReply(const char* data, int length, uint32_t, uint16_t) {
    if (length < p2p::kReplyBody) return;
    m_bSTUNPending.store(false, std::memory_order_relaxed);
    CWireReader fields(data, length);
    const uint32_t ip = fields.U32();
    const uint16_t port = fields.U16();
    CallApplication([&] { m_pNotify->OnP2PNotifyNATAddress(ip, port); });
}
