#include "platform/lumonet/udp_delivery.h"

#include "platform/lumonet/guarded_call.h"
#include "platform/lumonet/udp_counters.h"

#include <algorithm>

bool CUdpDelivery::Begin() {
    if (!m_gate.Enter()) return false;
    CallInside([this] { m_pNotify->OnUdpClientNotifyBurstBegin(); });
    return true;
}

bool CUdpDelivery::Run(const CReceivedRun& run) {
    for (size_t offset = 0; offset < run.length; offset += run.segment) {
        if (m_gate.IsReleased()) return false;
        const size_t length = std::min(run.segment, run.length - offset);
        ++m_nDatagrams;
        m_nBytes += length;
        try {
            m_pNotify->OnUdpClientNotifyReceivedFrame(run.data + offset, static_cast<int>(length), run.ip, run.port);
        } catch (...) {
            LogCallbackThrew();
        }
    }
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
