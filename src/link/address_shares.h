// How many of something each address has: nobody takes more than a share of what all need.
#pragma once

#include "link/cidr.h"
#include "link/lock_order.h"
#include "platform/lumobase/crit_sec.h"

#include <cstdint>
#include <unordered_map>
#include <utility>

/// Addresses in host byte order. Exempt ones are not counted. Any thread.
class CAddressShares {
public:
    /// Without a limit nothing is counted.
    CAddressShares() = default;
    CAddressShares(uint64_t most, CCidrList exempt) : m_nMost(most), m_exempt(std::move(exempt)) {}

    void SetLimit(uint64_t most, CCidrList exempt);
    bool IsFull(uint32_t ip);
    /// False, with nothing taken, when it would be more than a share.
    bool Take(uint32_t ip, uint64_t amount = 1);
    /// Of one who has come already: also when it is more than a share.
    void Add(uint32_t ip);
    /// What was not counted is not given back either.
    void Return(uint32_t ip, uint64_t amount = 1);

private:
    bool Counts(uint32_t ip) const LUMO_REQUIRES(m_cs);

    CCritSec m_cs{lock_order::kLeaf};
    uint64_t m_nMost LUMO_GUARDED_BY(m_cs) = UINT64_MAX;
    CCidrList m_exempt LUMO_GUARDED_BY(m_cs);
    std::unordered_map<uint32_t, uint64_t> m_taken LUMO_GUARDED_BY(m_cs);
};

/// One of a share, for as long as this lives. The shares outlive it.
class CShareHold {
public:
    CShareHold() = default;
    ~CShareHold() { Release(); }
    CShareHold(CShareHold&& other) noexcept
        : m_pShares(std::exchange(other.m_pShares, nullptr)), m_ulIP(other.m_ulIP) {}
    CShareHold& operator=(CShareHold&& other) noexcept {
        std::swap(m_pShares, other.m_pShares);
        std::swap(m_ulIP, other.m_ulIP);
        return *this;
    }

    /// In place of what it held. False, and it holds what it held, at the address's share.
    bool Take(CAddressShares& shares, uint32_t ip) {
        if (IsOf(ip)) return true;
        if (!shares.Take(ip)) return false;
        Release();
        m_pShares = &shares;
        m_ulIP = ip;
        return true;
    }
    void Release() {
        if (m_pShares) std::exchange(m_pShares, nullptr)->Return(m_ulIP);
    }
    bool IsOf(uint32_t ip) const { return m_pShares && m_ulIP == ip; }
    bool IsHeld() const { return m_pShares != nullptr; }
    /// Of the share, while one is held.
    uint32_t IP() const { return m_ulIP; }

private:
    CAddressShares* m_pShares = nullptr;
    uint32_t m_ulIP = 0;
};
