// The asking side of a round-trip run.
#pragma once

#include "bench/harness/side.h"

#include <cstdint>
#include <vector>

namespace bench {

inline constexpr int kPingLen = 1000;

/// One frame out at a time; the other side sends each back as it came. One thread at a time.
class CPinger {
public:
    explicit CPinger(CSide& side);

    /// The next frame; its clock starts.
    const char* Next();
    int Length() const { return kPingLen; }
    /// True: send the next one. False: all are measured, or it was not the frame that was due.
    bool OnReply(const char* data, int length);

private:
    void Report();

    CSide& m_side;
    std::vector<char> m_frame;
    std::vector<double> m_times;  // µs
    uint32_t m_nMade = 0;
    int64_t m_nSent = 0;
    int64_t m_nFirst = 0;
};

}  // namespace bench
