#include "link/udp_subscription.h"

#include "link/mcu_services.h"

void CUdpSubscription::SendConnect(uint32_t channelID) {
    wire::CDatagram datagram = ConnectRequest(channelID);
    m_request.Append(datagram, m_medium.sink, m_ulUserID);
    const CMcuAddress& mcu = m_request.Server();
    mcu.ForEachDistinct([&](uint32_t ip) { SendDatagram(datagram, ip, mcu.port); });
}

bool CUdpSubscription::IsSilent(uint32_t channelID) {
    if (SinkID() == 0) SendConnect(channelID);
    return Poll(m_request.IsPublishersOnly() ? m_medium.sink.peerOnlyTimeout : m_medium.sink.connectTimeout);
}
