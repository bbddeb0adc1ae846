#include "p2p/peer_subscription.h"

#include "link/process/mcu_services.h"

#include <atomic>

namespace {
std::atomic<bool> g_bPeersAsked{false};
}

void SetPeersAsked(bool asked) { g_bPeersAsked.store(asked, std::memory_order_relaxed); }

bool ArePeersAsked() { return g_bPeersAsked.load(std::memory_order_relaxed); }

void CPeerSubscription::Start() {
    if (m_bAsking) m_path.StartUdp();
    Touch();
}

void CPeerSubscription::SendConnect(uint32_t channelID, uint32_t ip, uint16_t port) {
    if (ip == 0 || port == 0) return;
    wire::CWireWriter datagram = ConnectRequest(channelID);
    CMTP2P* manager = m_medium.sink.namesUser ? GetP2PMgr() : nullptr;
    if (m_medium.sink.namesUser) datagram.U32(manager ? manager->LocalUserID() : 0);
    SendDatagram(datagram, ip, port);
}

bool CPeerSubscription::Poll(uint32_t channelID) {
    uint32_t limit = m_medium.sink.p2pTimeout;
    if (SinkID() == 0 && m_bAsking) {
        const CPeerPath::Udp path = m_path.GetUdp();
        if (path == CPeerPath::Udp::Negotiating) {
            Touch();
            return false;
        }
        if (path == CPeerPath::Udp::Connected)
            m_path.ForEachUdpAddress([&](uint32_t ip, uint16_t port) { SendConnect(channelID, ip, port); });
        else if (m_medium.sink.p2pFailedTimeout != 0)
            limit = m_medium.sink.p2pFailedTimeout;
    }
    return PollSink(limit);
}
