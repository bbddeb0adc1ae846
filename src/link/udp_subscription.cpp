#include "link/udp_subscription.h"

#include "link/mcu_services.h"

void CUdpSubscription::SetMcus(const CMcuAddress& peer, const CMcuAddress& local, bool peerOnly) {
    m_peerMcu = peer;
    m_localMcu = local;
    m_bPeerMCUOnly = peerOnly;
}

void CUdpSubscription::SendConnect(uint32_t channelID) {
    const bool peer = ChoosePeerMcu(m_peerMcu, m_localMcu, m_bPeerMCUOnly);
    wire::CDatagram datagram = ConnectRequest(channelID);
    for (uint32_t ip : m_peerMcu.ips) datagram.U32(peer ? 0 : ip);  // zeros: nothing to relay
    if (m_profile.connectNamesPort) datagram.U16(peer ? uint16_t{0} : m_peerMcu.port);
    if (m_profile.connectNamesUser) datagram.U32(m_ulUserID);
    const CMcuAddress& mcu = peer ? m_peerMcu : m_localMcu;
    mcu.ForEachDistinct([&](uint32_t ip) { SendDatagram(datagram, ip, mcu.port); });
}

bool CUdpSubscription::IsSilent(uint32_t channelID) {
    if (SinkID() == 0) SendConnect(channelID);
    return Poll(m_bPeerMCUOnly ? m_profile.peerOnlyTimeoutMs : m_profile.connectTimeoutMs);
}
