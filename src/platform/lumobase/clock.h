// Time and random identifiers.
#pragma once

#include <cstdint>

/// How long ago a time was; 0 for one that another thread has read off the clock since `now`, a minute ago at most.
inline uint32_t ElapsedMs(uint32_t now, uint32_t since) {
    constexpr uint32_t kLater = 60000;
    const uint32_t elapsed = now - since;
    return elapsed > UINT32_MAX - kLater ? 0 : elapsed;
}

namespace Lumo_Base {

/// Milliseconds of a monotonic clock, at most 32 bits. Take differences in uint32_t: it wraps.
unsigned long GetTimestamp();

/// Microseconds of the same clock, from its beginning; they do not wrap.
uint64_t GetMicroseconds();

/// Processor time of the calling thread in nanoseconds; only differences mean anything. Where the clock is replaced, by
/// that clock.
uint64_t ThreadTime();

/// Test seam: replaces the clock of GetTimestamp; null gives the real one back. Not while other threads run.
void SetTimestampSource(unsigned long (*source)());
/// The same with microseconds; it takes the place of the other.
void SetMicrosecondSource(uint64_t (*source)());

/// While one is alive, the clock gives this thread one reading: for a burst of work that asks for the time once
/// a packet. Nests.
class CTimeHold {
public:
    CTimeHold() { Begin(); }
    ~CTimeHold() { End(); }
    CTimeHold(const CTimeHold&) = delete;
    CTimeHold& operator=(const CTimeHold&) = delete;

    /// The same as a pair of calls.
    static void Begin();
    static void End();
};

/// While one is alive the holds around it are off, and when it goes they begin anew: for what may take long, and asks
/// for the time itself.
class CTimeUnheld {
public:
    CTimeUnheld();
    ~CTimeUnheld();
    CTimeUnheld(const CTimeUnheld&) = delete;
    CTimeUnheld& operator=(const CTimeUnheld&) = delete;

private:
    const unsigned m_nHolds;
};

/// A random 32-bit value from the system's generator, never 0. Any thread.
unsigned long GenerateSSRC();

/// Test seam: replaces the system's generator; null gives it back. Not while other threads run.
void SetRandomSource(uint32_t (*source)());

}  // namespace Lumo_Base
