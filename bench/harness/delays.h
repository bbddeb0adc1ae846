// When a frame was sent, written into it, and how long frames took.
#pragma once

#include "bench/harness/spec.h"
#include "bench/harness/stats.h"

#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

namespace bench {

struct FrameStamp {
    uint32_t number;
    int64_t sentNs;  // on a clock that both sides share
};
inline constexpr size_t kStampLen = sizeof(uint32_t) + sizeof(int64_t);

inline void WriteStamp(char* at, const FrameStamp& stamp) {
    std::memcpy(at, &stamp.number, sizeof stamp.number);
    std::memcpy(at + sizeof stamp.number, &stamp.sentNs, sizeof stamp.sentNs);
}

inline FrameStamp ReadStamp(const char* at) {
    FrameStamp stamp{};
    std::memcpy(&stamp.number, at, sizeof stamp.number);
    std::memcpy(&stamp.sentNs, at + sizeof stamp.number, sizeof stamp.sentNs);
    return stamp;
}

class CDelays {
public:
    void Add(int64_t ns) { m_microseconds.push_back(static_cast<double>(ns) * 1e-3); }
    void Clear() { m_microseconds.clear(); }
    /// "delay_p50_us" and so on; nothing when there are none.
    void Report(Values& values) const {
        if (!m_microseconds.empty()) AddTail(values, "delay_", m_microseconds);
    }

private:
    std::vector<double> m_microseconds;
};

}  // namespace bench
