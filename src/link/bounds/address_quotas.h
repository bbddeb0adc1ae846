// Quotas: how many of something each address has, and how many it may have.
#pragma once

#include "link/bounds/cidr.h"
#include "link/lock_order.h"
#include "platform/lumobase/crit_sec.h"

#include <cstdint>
#include <unordered_map>
#include <utility>

/// Addresses in host byte order. Exempt ones are not counted. Any thread.
class CAddressQuotas {
public:
    /// Without a limit nothing is counted.
    CAddressQuotas() = default;
    CAddressQuotas(uint64_t most, CCidrList exempt) : m_nMost(most), m_exempt(std::move(exempt)) {}

    void SetLimit(uint64_t most, CCidrList exempt);
    bool IsFull(uint32_t ip);
    /// False, with nothing taken, when the address would exceed its quota.
    bool Take(uint32_t ip, uint64_t amount = 1);
    /// Counts one that is already there, even beyond the quota.
    void Add(uint32_t ip);
    /// Does nothing for an exempt address.
    void Return(uint32_t ip, uint64_t amount = 1);

private:
    bool Counts(uint32_t ip) const LUMO_REQUIRES(m_cs);

    CCritSec m_cs{lock_order::kLeaf};
    uint64_t m_nMost LUMO_GUARDED_BY(m_cs) = UINT64_MAX;
    CCidrList m_exempt LUMO_GUARDED_BY(m_cs);
    std::unordered_map<uint32_t, uint64_t> m_taken LUMO_GUARDED_BY(m_cs);
};

/// One unit of an address's quota, taken for as long as this lives. The quotas outlive it.
class CQuotaHold {
public:
    CQuotaHold() = default;
    ~CQuotaHold() { Release(); }
    CQuotaHold(CQuotaHold&& other) noexcept
        : m_pQuotas(std::exchange(other.m_pQuotas, nullptr)), m_ulIP(other.m_ulIP) {}
    CQuotaHold& operator=(CQuotaHold&& other) noexcept {
        std::swap(m_pQuotas, other.m_pQuotas);
        std::swap(m_ulIP, other.m_ulIP);
        return *this;
    }

    /// Takes a unit of this address in place of the one held. False, with that one kept, when the address has its
    /// quota.
    bool Take(CAddressQuotas& quotas, uint32_t ip) {
        if (IsOf(ip)) return true;
        if (!quotas.Take(ip)) return false;
        Release();
        m_pQuotas = &quotas;
        m_ulIP = ip;
        return true;
    }
    void Release() {
        if (m_pQuotas) std::exchange(m_pQuotas, nullptr)->Return(m_ulIP);
    }
    bool IsOf(uint32_t ip) const { return m_pQuotas && m_ulIP == ip; }
    bool IsHeld() const { return m_pQuotas != nullptr; }
    /// Whose unit it is, while one is held.
    uint32_t IP() const { return m_ulIP; }

private:
    CAddressQuotas* m_pQuotas = nullptr;
    uint32_t m_ulIP = 0;
};
