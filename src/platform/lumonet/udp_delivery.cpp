#include "platform/lumonet/udp_delivery.h"

#include "platform/lumonet/guarded_call.h"
#include "platform/lumonet/udp_counters.h"

bool CUdpDelivery::Begin() {
    if (!m_gate.Enter()) return false;
    CallInside([this] { m_pNotify->OnUdpClientNotifyBurstBegin(); });
    return true;
}

bool CUdpDelivery::Datagram(const char* data, size_t length, uint32_t ip, uint16_t port) {
    if (m_gate.IsReleased()) return false;
    if (length == 0) return true;
    ++m_nDatagrams;
    m_nBytes += length;
    CallInside([&] { m_pNotify->OnUdpClientNotifyReceivedFrame(data, static_cast<int>(length), ip, port); });
    return true;
}

unsigned CUdpDelivery::End() {
    unsigned restUs = 0;
    // A release on another thread waits for this burst; a release from inside lets nothing follow.
    if (!m_bReleasedInside) {
        CallInside([this] { m_pNotify->OnUdpClientNotifyBurstEnd(); });
    }
    if (!m_bReleasedInside) {
        CallInside([&] { restUs = m_pNotify->OnUdpClientNotifyMayRest(); });
    }
    udp::CountReceived(m_nDatagrams, m_nBytes);
    m_nDatagrams = 0;
    m_nBytes = 0;
    m_gate.Leave();
    return restUs;
}

bool CUdpDelivery::Release() {
    const bool inside = m_gate.IsInside();
    if (inside) m_bReleasedInside = true;
    m_gate.Release();
    return inside;
}
