#include "core/wide/agreement.h"

namespace wide {

void CAgreement::Open() {
    Close();
    m_ulToken = DrawToken();
}

void CAgreement::Close() {
    m_ulFarToken.store(0, std::memory_order_release);
    m_ulHeard = 0;
}

bool CAgreement::OnGivenPacket(const char* packet, uint16_t sequence) {
    const uint32_t offered = ReadOffer(packet);
    if (offered == 0 || offered == m_ulToken || offered == FarToken()) return false;  // one's own is an echo
    const bool twice = offered == m_ulHeard && sequence != m_usHeardOn;
    m_ulHeard = offered;
    m_usHeardOn = sequence;
    if (twice) m_ulFarToken.store(offered, std::memory_order_release);
    return twice;
}

}  // namespace wide
