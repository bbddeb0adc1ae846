#include "bench/harness/ping.h"

#include "bench/harness/clock.h"
#include "bench/harness/stats.h"

#include <cstring>

namespace bench {

namespace {
constexpr uint32_t kWarmUp = 500;  // round trips before those that count
}

CPinger::CPinger(CSide& side) : m_side(side), m_frame(kPingLen, 'p') { m_times.reserve(side.Spec().roundTrips); }

const char* CPinger::Next() {
    ++m_nMade;
    std::memcpy(m_frame.data(), &m_nMade, sizeof m_nMade);
    std::memcpy(m_frame.data() + kPingLen - sizeof m_nMade, &m_nMade, sizeof m_nMade);
    m_nSent = NowNs();
    if (m_nMade == kWarmUp + 1) m_nFirst = m_nSent;
    return m_frame.data();
}

bool CPinger::OnReply(const char* data, int length) {
    const int64_t now = NowNs();
    if (length != kPingLen || std::memcmp(data, m_frame.data(), kPingLen) != 0) {
        m_side.Fail("round trip " + std::to_string(m_nMade) + " brought something else");
        return false;
    }
    if (m_nMade > kWarmUp) m_times.push_back(static_cast<double>(now - m_nSent) * 1e-3);
    if (m_times.size() < m_side.Spec().roundTrips) return true;
    Report();
    return false;
}

void CPinger::Report() {
    Values values{{"round_trips", static_cast<double>(m_times.size())},
                  {"seconds", static_cast<double>(NowNs() - m_nFirst) * 1e-9}};
    AddTail(values, "", m_times);
    m_side.Finish(values);
}

}  // namespace bench
