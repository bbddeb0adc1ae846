// What all whiteboards of the process hold together.
#pragma once

#include "link/bounds/address_quotas.h"

#include <atomic>
#include <cstdint>

/// Clients have no limit of their own here; a relay server sets one. Any thread.
class CWBMemory {
public:
    static CWBMemory& Get();

    /// And of them at most `quota` from one address; exempt addresses have no quota.
    void SetLimit(uint64_t bytes, uint64_t quota = UINT64_MAX, CCidrList exempt = {});
    /// For what came from `owner` (0: this process). False, with nothing taken, when it would be too much.
    bool Take(uint32_t owner, uint64_t bytes);
    void Return(uint32_t owner, uint64_t bytes);
    uint64_t Used() const { return m_nUsed.load(std::memory_order_relaxed); }

private:
    std::atomic<uint64_t> m_nUsed{0};
    std::atomic<uint64_t> m_nLimit{UINT64_MAX};
    CAddressQuotas m_quotas;
};
