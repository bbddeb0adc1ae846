// What the server did within the last hour.
#pragma once

#include "server/pages/metrics.h"
#include "server/pages/process_status.h"
#include "server/refusals.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <map>
#include <vector>

/// Ten seconds.
struct CHourSample {
    uint64_t cpuPermille = 0;     ///< of one core
    uint64_t threadPermille = 0;  ///< of the busiest thread
    uint64_t memoryBytes = 0;
    uint64_t streams = 0, listeners = 0;
    uint64_t bytesIn = 0, bytesOut = 0;  ///< a second
    uint64_t packets = 0, again = 0;     ///< sent to subscribers and publishers; of them, again
    uint64_t dropped = 0;                ///< frames
    uint64_t gaveWay = 0;                ///< for want of memory
    std::array<uint64_t, static_cast<size_t>(Refusal::Count)> refused{};

    uint64_t Refused() const;
    uint64_t LossPermille() const { return packets == 0 ? 0 : again * 1000 / packets; }
};

/// A ring of an hour. Not synchronised.
class CHour {
public:
    static constexpr uint32_t kBucketMs = 10000;
    static constexpr size_t kBuckets = 360;
    using Threads = std::map<uint64_t, double>;

    /// Totals so far, once for every bucket: what has grown since the last ones is a sample.
    void Add(uint64_t now, const CServerNumbers& numbers, const CProcessStatus& process, Threads threads);
    /// Oldest first.
    std::vector<CHourSample> Samples() const;

private:
    /// As they stood at the end of the last bucket; the rates in it are totals here.
    struct Totals {
        CHourSample counts;
        double cpuSeconds = 0;
        Threads threads;
        uint64_t at = 0;
    };

    static Totals Sum(const CServerNumbers& numbers);
    static CHourSample Grown(const Totals& before, const Totals& now);

    std::array<CHourSample, kBuckets> m_ring{};
    size_t m_nNext = 0;
    size_t m_nCount = 0;
    bool m_bStarted = false;
    Totals m_last;
};

/// The sum of a field over the last `count` samples.
template <class Field>
uint64_t SumOfLast(const std::vector<CHourSample>& samples, size_t count, Field field) {
    uint64_t sum = 0;
    for (size_t i = samples.size() - std::min(count, samples.size()); i < samples.size(); ++i) sum += field(samples[i]);
    return sum;
}
