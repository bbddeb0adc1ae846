// How a link that has something to do keeps the worker thread awake.
#pragma once

#include <atomic>
#include <cstdint>

/// Counts the links with something queued or unacknowledged, and wakes the worker from its long sleep.
class CWorkSignal {
public:
    static constexpr uint32_t kShortSleepMs = 1;  // while anything is in flight
    static constexpr uint32_t kLongSleepMs = 50;  // otherwise

    static CWorkSignal& Get();

    void LinkBusy();
    void LinkIdle() { m_nBusy.fetch_sub(1, std::memory_order_relaxed); }
    bool AnyBusy() const { return m_nBusy.load(std::memory_order_seq_cst) > 0; }

    /// The worker's idle turn. Returns early when a link becomes busy or Wake is called, and at the next deadline.
    void Sleep();
    /// An earlier deadline than those before it has been entered.
    void NewDeadline();
    /// Ends a sleep, e.g. when the worker shall stop.
    void Wake();

private:
    std::atomic<int> m_nBusy{0};
    std::atomic<bool> m_bLongSleep{false};
};
