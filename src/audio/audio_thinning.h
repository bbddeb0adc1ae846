// Keeps the way of a frame to very many listeners so short that the stream does not slow down for all of them.
#pragma once

#include "platform/lumobase/processor.h"

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <map>

/// Of one local MCU. Where feeding channels takes more than half of the time, listeners at the addresses that have most
/// of them hear fewer frames: all addresses have the same room, and what one does not need goes to the others.
class CAudioThinning {
public:
    static constexpr size_t kAlwaysServed = 256;  // listeners whom every frame reaches, however slow the host

    /// A frame's way to the listeners. Any thread.
    template <class FanOut>
    void Measure(FanOut fanOut) {
        const uint64_t begun = Lumo_Base::RunningUs();
        fanOut();
        NoteBusy(static_cast<int64_t>(Lumo_Base::RunningUs() - begun));
    }
    void NoteBusy(int64_t microseconds) { m_nBusyUs.fetch_add(microseconds, std::memory_order_relaxed); }

    /// Once a second, on one thread: Begin, Count for every listener, End; then EveryAt says of each of how many frames
    /// it hears one.
    void Begin() { m_listeners.clear(); }
    void Count(uint32_t ip) { ++m_listeners[ip]; }
    void End() { Fit(m_nBusyUs.exchange(0, std::memory_order_relaxed)); }
    uint32_t EveryAt(uint32_t ip) const;

protected:
    /// After a second in which so many microseconds went into frames.
    void Fit(int64_t busyUs);

private:
    void Divide(size_t all);

    std::atomic<int64_t> m_nBusyUs{0};
    std::map<uint32_t, size_t> m_listeners;
    size_t m_nRoom = SIZE_MAX;   // listeners that a frame may reach
    double m_dAtAddress = 1e18;  // and of them at one address
};
