#include "seal/past_senders.h"

#include "platform/lumobase/wall_clock.h"

#include <algorithm>

namespace seal {

SealOutcome CPastSenders::Judge(const Header& header) const {
    const uint64_t start = StartOf(header.keyID);
    if (m_senders != Senders::Many && start < m_latestStart) return SEAL_EARLIER;
    uint64_t highest = 0;
    if (Find(header.keyID, highest)) {
        if (highest == kClosed) return SEAL_EARLIER;
        return header.counter > highest ? SEAL_DONE : SEAL_REPEATED;
    }
    if (m_bAnyForgotten && start <= m_forgottenStart) return SEAL_FORGOTTEN;
    const uint64_t now = Lumo_Base::WallMinutes();
    const bool near = start + kStartMinutes >= now && start <= now + kStartMinutes;
    return near || m_bAnyStart ? SEAL_DONE : SEAL_START;
}

bool CPastSenders::Find(uint64_t keyID, uint64_t& highest) const {
    const auto found = m_highest.find(keyID);
    if (found == m_highest.end()) return false;
    highest = found->second;
    return true;
}

void CPastSenders::Remember(uint64_t keyID, uint64_t highest) {
    m_highest[keyID] = highest;
    if (m_highest.size() <= kMost) return;
    const auto earliest = m_highest.begin();
    m_forgottenStart = std::max(m_forgottenStart, StartOf(earliest->first));
    m_bAnyForgotten = true;
    m_highest.erase(earliest);
}

void CPastSenders::BeginStart(uint64_t keyID) {
    m_latestStart = StartOf(keyID);
    m_highest.clear();
}

}  // namespace seal
