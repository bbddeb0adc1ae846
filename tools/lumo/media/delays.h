// How long frames are in flight: percentiles of the last few thousand.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <vector>

namespace lumo {

/// One thread.
class CDelays {
public:
    /// Both in microseconds since 1970, of two clocks that may differ.
    void Add(uint64_t sentUs, uint64_t cameUs) {
        m_delaysUs.push_back(static_cast<uint32_t>(std::min<uint64_t>(cameUs - std::min(cameUs, sentUs), UINT32_MAX)));
        if (m_delaysUs.size() > kKept) m_delaysUs.pop_front();
    }
    /// Milliseconds within which that share of the frames came, 0 without any.
    double Ms(double share) const {
        std::vector<uint32_t> sorted(m_delaysUs.begin(), m_delaysUs.end());
        if (sorted.empty()) return 0;
        const auto rank = static_cast<size_t>(share * static_cast<double>(sorted.size()));
        const auto place = sorted.begin() + static_cast<std::ptrdiff_t>(std::min(rank, sorted.size() - 1));
        std::nth_element(sorted.begin(), place, sorted.end());
        return *place / 1000.0;
    }

private:
    static constexpr size_t kKept = 4096;
    std::deque<uint32_t> m_delaysUs;
};

}  // namespace lumo
