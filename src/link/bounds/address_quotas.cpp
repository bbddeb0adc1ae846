#include "link/bounds/address_quotas.h"

bool CAddressQuotas::Counts(uint32_t ip) const { return m_nMost != UINT64_MAX && !Contains(m_exempt, ip); }

void CAddressQuotas::SetLimit(uint64_t most, CCidrList exempt) {
    CAutoLock lock(&m_cs);
    m_nMost = most;
    m_exempt = std::move(exempt);
}

bool CAddressQuotas::IsFull(uint32_t ip) {
    CAutoLock lock(&m_cs);
    if (!Counts(ip)) return false;
    const auto found = m_taken.find(ip);
    return (found == m_taken.end() ? 0 : found->second) >= m_nMost;
}

bool CAddressQuotas::Take(uint32_t ip, uint64_t amount) {
    CAutoLock lock(&m_cs);
    if (!Counts(ip)) return true;
    if (amount > m_nMost) return false;
    const auto found = m_taken.try_emplace(ip, 0).first;
    if (found->second > m_nMost - amount) return false;
    found->second += amount;
    return true;
}

void CAddressQuotas::Add(uint32_t ip) {
    CAutoLock lock(&m_cs);
    if (Counts(ip)) ++m_taken[ip];
}

void CAddressQuotas::Return(uint32_t ip, uint64_t amount) {
    CAutoLock lock(&m_cs);
    const auto found = m_taken.find(ip);
    if (found == m_taken.end()) return;
    if (found->second > amount)
        found->second -= amount;
    else
        m_taken.erase(found);
}
