// Counts of durations, exact to a sixty-fourth, in a few kilobytes.
#pragma once

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>

namespace lumo {

/// Any thread.
class CHistogram {
public:
    void Add(uint32_t value) {
        m_counts.at(BucketOf(value)).fetch_add(1, std::memory_order_relaxed);
        uint32_t most = m_ulMost.load(std::memory_order_relaxed);
        while (value > most && !m_ulMost.compare_exchange_weak(most, value, std::memory_order_relaxed)) {}
    }
    uint32_t Most() const { return m_ulMost.load(std::memory_order_relaxed); }
    /// The smallest value that at least this share does not exceed, rounded down by a sixty-fourth at most; 0 of none.
    uint32_t Percentile(double share) const {
        uint64_t all = 0, seen = 0;
        for (const auto& count : m_counts) all += count.load(std::memory_order_relaxed);
        const double wanted = share * static_cast<double>(all);
        for (size_t bucket = 0; bucket < kBuckets; ++bucket) {
            seen += m_counts.at(bucket).load(std::memory_order_relaxed);
            if (seen > 0 && static_cast<double>(seen) >= wanted) return LeastOf(bucket);
        }
        return 0;
    }

private:
    static constexpr unsigned kBits = 6;  // of a value that are told apart
    static constexpr size_t kSteps = size_t{1} << kBits;
    static constexpr size_t kBuckets = (32 - kBits + 1) * kSteps;

    static size_t BucketOf(uint32_t value) {
        size_t shift = 0;
        while (value >> shift >= 2 * kSteps) ++shift;
        return shift * kSteps + (value >> shift);
    }
    static uint32_t LeastOf(size_t bucket) {
        if (bucket < 2 * kSteps) return static_cast<uint32_t>(bucket);
        const size_t shift = bucket / kSteps - 1;
        return static_cast<uint32_t>((bucket - shift * kSteps) << shift);
    }

    std::array<std::atomic<uint64_t>, kBuckets> m_counts{};
    std::atomic<uint32_t> m_ulMost{0};
};

}  // namespace lumo
