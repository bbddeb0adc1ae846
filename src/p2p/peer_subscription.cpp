#include "p2p/peer_subscription.h"

#include "link/mcu_services.h"

void CPeerSubscription::Start() {
    m_path.StartUdp();
    Touch();
}

void CPeerSubscription::SendConnect(uint32_t channelID, uint32_t ip, uint16_t port) {
    if (ip != 0 && port != 0) SendDatagram(ConnectRequest(channelID), ip, port);
}

bool CPeerSubscription::IsSilent(uint32_t channelID) {
    if (SinkID() == 0) {
        const CPeerPath::Udp path = m_path.GetUdp();
        if (path == CPeerPath::Udp::Negotiating) {
            Touch();
            return false;
        }
        if (path == CPeerPath::Udp::Connected)
            m_path.ForEachUdpAddress([&](uint32_t ip, uint16_t port) { SendConnect(channelID, ip, port); });
    }
    return Poll(m_profile.p2pTimeoutMs);
}
