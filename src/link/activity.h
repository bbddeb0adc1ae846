// The two ways in which the media count silence.
#pragma once

#include "platform/lumobase/clock.h"

#include <atomic>
#include <cstdint>

/// The last sign of life of a far side. Any thread.
class CActivity {
public:
    explicit CActivity(uint32_t last = 0) : m_ulLast(last) {}

    void Touch() {
        m_ulLast.store(Now(), std::memory_order_relaxed);
        m_nSigns.store(Signs() + 1, std::memory_order_relaxed);  // two at once may count as one
    }
    /// How many signs have come.
    uint64_t Signs() const { return m_nSigns.load(std::memory_order_relaxed); }
    uint32_t Last() const { return m_ulLast.load(std::memory_order_relaxed); }

    /// Whether nothing has come for more than `limit` ms. A stored time later than now (the clock went back or wrapped)
    /// counts as a sign of life that came just now.
    bool SilentFor(uint32_t limit) const {
        const uint32_t now = Now();
        uint32_t last = Last();
        if (last <= now) return ElapsedMs(now, last) > limit;
        m_ulLast.compare_exchange_strong(last, now, std::memory_order_relaxed);  // unless a sign of life came just now
        return false;
    }

    static uint32_t Now() { return static_cast<uint32_t>(Lumo_Base::GetTimestamp()); }

private:
    mutable std::atomic<uint32_t> m_ulLast;
    std::atomic<uint64_t> m_nSigns{0};
};

/// Fires on every n-th poll; started at 100 it fires on the next. One poller, but the UDP thread may restart it.
class CPollCount {
public:
    static constexpr uint8_t kAtOnce = 100;

    explicit CPollCount(uint8_t every, uint8_t start = 0) : m_byEvery(every), m_byCount(start) {}

    bool Poll() {
        const uint8_t before = m_byCount.load(std::memory_order_relaxed);
        const bool fires = before >= m_byEvery - 1;
        m_byCount.store(fires ? uint8_t{0} : static_cast<uint8_t>(before + 1), std::memory_order_relaxed);
        return fires;
    }
    void Restart(uint8_t start = 0) { m_byCount.store(start, std::memory_order_relaxed); }

private:
    const uint8_t m_byEvery;
    std::atomic<uint8_t> m_byCount;
};
