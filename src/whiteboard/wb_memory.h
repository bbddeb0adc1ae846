// What all whiteboards of the process hold together.
#pragma once

#include <atomic>
#include <cstdint>

/// Clients have no limit of their own here; a relay server sets one. Any thread.
class CWBMemory {
public:
    static CWBMemory& Get();

    void SetLimit(uint64_t bytes) { m_nLimit.store(bytes, std::memory_order_relaxed); }
    /// False, with nothing taken, when it would be too much.
    bool Take(uint64_t bytes);
    void Return(uint64_t bytes) { m_nUsed.fetch_sub(bytes, std::memory_order_relaxed); }
    uint64_t Used() const { return m_nUsed.load(std::memory_order_relaxed); }

private:
    std::atomic<uint64_t> m_nUsed{0};
    std::atomic<uint64_t> m_nLimit{UINT64_MAX};
};
