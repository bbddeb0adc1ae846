// The frames of a load test: numbered and stamped when they leave, counted when they come.
#pragma once

#include "tools/lumo/load/histogram.h"

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace lumo {

inline constexpr uint32_t kLoadHeadLength = 16;

/// One clock for both ends, since they are one process: microseconds.
uint64_t LoadClockUs();

struct LoadReport {
    uint64_t arrived = 0;   ///< each frame once for each subscriber
    uint64_t repeated = 0;  ///< came again
    uint32_t unlucky = 0;   ///< subscribers that lack something
    double p50Ms = 0, p90Ms = 0, p99Ms = 0, mostMs = 0;
};

class CLoadMeter {
public:
    static constexpr uint64_t kMostArrivals = 1000000000;  ///< subscribers times frames: one bit each

    CLoadMeter(uint32_t subscribers, uint32_t frames);

    /// Marks a frame of at least kLoadHeadLength bytes from `at` on; number 0 only shows who hears.
    static void Stamp(std::string& frame, size_t at, uint32_t number, uint64_t nowUs);
    /// Whether a frame stamped at its beginning has number 0.
    static bool IsGreeting(const std::string& frame);
    /// Takes a stamped frame, and nothing else. Any thread, for each subscriber one at a time.
    void OnFrame(uint32_t subscriber, const char* data, int length, uint64_t nowUs);
    /// The same for one that is marked in another way.
    void Count(uint32_t subscriber, uint32_t number, uint64_t sentUs, uint64_t nowUs);

    /// Subscribers that have heard anything. Any thread.
    uint32_t Hearing() const { return m_nHearing.load(std::memory_order_relaxed); }
    /// Any thread.
    uint64_t Arrived() const { return m_nArrived.load(std::memory_order_relaxed); }
    /// Any thread; whole when frames 1 to `published` have come, or will no more.
    LoadReport Report(uint32_t published) const;

private:
    struct Subscriber {
        bool hears = false;
        std::atomic<uint32_t> arrived{0};
    };
    const uint32_t m_nFrames;
    std::vector<Subscriber> m_subscribers;
    std::vector<std::vector<uint64_t>> m_seen;  // of each subscriber a bit a frame
    CHistogram m_delaysUs;
    std::atomic<uint32_t> m_nHearing{0};
    std::atomic<uint64_t> m_nArrived{0};
    std::atomic<uint64_t> m_nRepeated{0};
};

}  // namespace lumo
