// How much may wait at each subscriber of a client's medium.
#pragma once

#include "link/bounds/limits.h"

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <map>

/// Every address has the same quota, divided among its sinks: a host that opens a thousand sinks takes nothing from
/// others. Counted anew every second by one thread; any thread may ask for the quota of a new sink.
class CQueueQuotas {
public:
    void Begin() { m_sinks.clear(); }
    void Count(uint32_t ip) { ++m_sinks[ip]; }
    void End() { m_nOfNewSink.store(Of(m_sinks.size() + 1, 1), std::memory_order_relaxed); }
    /// Of a sink there; 0 when none was counted there.
    uint64_t QuotaAt(uint32_t ip) const {
        const auto found = m_sinks.find(ip);
        return found == m_sinks.end() ? 0 : Of(m_sinks.size(), found->second);
    }
    uint64_t OfNewSink() const { return m_nOfNewSink.load(std::memory_order_relaxed); }

private:
    static uint64_t Of(size_t addresses, size_t sinks) {
        return std::min(limits::kMaxQueueBytes, limits::kSinkMemory / addresses / sinks);
    }

    std::map<uint32_t, size_t> m_sinks;
    std::atomic<uint64_t> m_nOfNewSink{limits::kMaxQueueBytes};
};
