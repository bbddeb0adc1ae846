// What waits at a UDP link.
#pragma once

#include "link/bounds/limits.h"
#include "platform/lumobase/data_buffer.h"
#include "platform/lumobase/memory_budget.h"

#include <cstdint>

/// A frame on its way through a queue or a session, and what it costs.
class CQueuedFrame final : public CDataBuffer {
public:
    explicit CQueuedFrame(CBudgetAccount& account) : m_account(account) {}
    ~CQueuedFrame() override {
        if (m_nCost > 0) m_account.Return(m_nCost);
    }
    bool Store(const void* data, int length) {
        const uint64_t cost = limits::QueueCost(static_cast<uint64_t>(length), 1);
        if (!m_account.Take(cost)) return false;
        m_nCost = cost;
        return StoreData(static_cast<const char*>(data), length);
    }

private:
    CBudgetAccount& m_account;
    uint64_t m_nCost = 0;
};
