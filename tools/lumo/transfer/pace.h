// How fast blocks may leave.
#pragma once

#include "tools/lumo/transfer/limits.h"

#include <algorithm>
#include <cstdint>

namespace lumo {

/// Keeps about a tenth of a second's worth of frames waiting in the library, so that fast paths never run dry and
/// heartbeats do not wait long on slow ones.
class CQueuePace {
public:
    /// Whether one more frame may join the `queued` ones.
    bool MayQueue(uint32_t queued) const { return queued < m_nDepth; }
    void OnQueued() { ++m_nQueuedSince; }
    /// `queued` frames wait now.
    void Update(uint64_t now, uint32_t queued) {
        const uint64_t passed = now - m_ullSince;
        if (passed < kWindowMs) return;
        const uint64_t drained = (m_nQueuedSince + m_nLeft > queued) ? m_nQueuedSince + m_nLeft - queued : 0;
        const uint64_t perWindow = drained * kWindowMs / passed;
        m_nDepth = static_cast<uint32_t>(std::clamp<uint64_t>(perWindow, kMinQueuedFrames, kMaxQueuedFrames));
        m_nQueuedSince = 0;
        m_nLeft = queued;
        m_ullSince = now;
    }
    uint32_t Depth() const { return m_nDepth; }

private:
    static constexpr uint64_t kWindowMs = 100;
    uint32_t m_nDepth = kMinQueuedFrames;
    uint64_t m_ullSince = 0;
    uint64_t m_nQueuedSince = 0;
    uint64_t m_nLeft = 0;
};

/// How far a lane runs ahead of its slowest receiver: twice what the path holds, as reports show it. The path's own
/// delay is the shortest that a report of this receiver has taken, so that what waits does not make the lead longer.
class CLead {
public:
    uint32_t Blocks() const { return m_nBlocks; }
    /// The slowest receiver has everything up to `serial`; no report of it has taken less than `delayMs`.
    void OnReport(uint64_t now, uint64_t serial, uint64_t delayMs) {
        const uint64_t passed = now - m_ullSinceMs;
        if (passed < kWindowMs && serial >= m_ullSinceSerial) return;
        if (m_ullSinceMs != 0 && serial >= m_ullSinceSerial) {
            const uint64_t held = (serial - m_ullSinceSerial) * delayMs / passed;
            m_nBlocks = static_cast<uint32_t>(std::clamp<uint64_t>(2 * held, kLeadBlocks, kMostLeadBlocks));
        }
        m_ullSinceMs = now;
        m_ullSinceSerial = serial;
    }

private:
    static constexpr uint64_t kWindowMs = 500;
    uint32_t m_nBlocks = kLeadBlocks;
    uint64_t m_ullSinceMs = 0;
    uint64_t m_ullSinceSerial = 0;
};

/// At most so many bytes a second, with bursts of a tenth of that; 0 is no limit.
class CRateLimit {
public:
    explicit CRateLimit(uint64_t bytesPerSecond) : m_ullRate(bytesPerSecond) {}

    bool MaySend(uint64_t now) {
        if (m_ullRate == 0) return true;
        const uint64_t passed = std::min<uint64_t>(now - m_ullLast, 1000);
        const uint64_t burst = std::max<uint64_t>(m_ullRate / 10, kBlockSize);
        m_ullCredit = std::min(burst * 1000, m_ullCredit + passed * m_ullRate);
        m_ullLast = now;
        return m_ullCredit >= uint64_t{kBlockSize} * 1000;
    }
    void OnSent(uint32_t bytes) {
        if (m_ullRate != 0) m_ullCredit -= std::min(m_ullCredit, uint64_t{bytes} * 1000);
    }

private:
    const uint64_t m_ullRate;
    uint64_t m_ullCredit = 0;  // thousandths of a byte
    uint64_t m_ullLast = 0;
};

}  // namespace lumo
