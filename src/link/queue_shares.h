// How much may wait at each subscriber of a client's medium.
#pragma once

#include "link/limits.h"

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <map>

/// Every address has the same share, and its sinks share that: who opens a thousand sinks takes nothing from others.
/// Counted anew every second by one thread; any thread may ask what a newcomer gets.
class CQueueShares {
public:
    void Begin() { m_sinks.clear(); }
    void Count(uint32_t ip) { ++m_sinks[ip]; }
    void End() { m_nNewcomers.store(Of(m_sinks.size() + 1, 1), std::memory_order_relaxed); }
    /// Of a sink there; 0 when none was counted there.
    uint64_t ShareAt(uint32_t ip) const {
        const auto found = m_sinks.find(ip);
        return found == m_sinks.end() ? 0 : Of(m_sinks.size(), found->second);
    }
    uint64_t Newcomers() const { return m_nNewcomers.load(std::memory_order_relaxed); }

private:
    static uint64_t Of(size_t addresses, size_t sinks) {
        return std::min(limits::kMaxQueueBytes, limits::kSinkMemory / addresses / sinks);
    }

    std::map<uint32_t, size_t> m_sinks;
    std::atomic<uint64_t> m_nNewcomers{limits::kMaxQueueBytes};
};
