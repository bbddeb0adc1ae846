#include "server/channels/rate_history.h"

#include "platform/lumobase/clock.h"

#include <algorithm>

namespace {

// Totals are summed while sinks leave, so they may step back for a moment.
uint64_t Grown(uint64_t now, uint64_t before) { return now > before ? now - before : 0; }

}  // namespace

void CRateHistory::Add(uint32_t now, uint64_t bytes, uint64_t packets, uint64_t lost) {
    const uint32_t passed = ElapsedMs(now, m_ulSince);
    if (m_bStarted && passed < kBucketMs) return;
    if (m_bStarted) {
        const uint64_t sent = Grown(packets, m_nPackets);
        const uint64_t rate = Grown(bytes, m_nBytes) * 1000 / passed;
        const uint64_t loss = sent == 0 ? 0 : Grown(lost, m_nLost) * 1000 / sent;
        m_ring[m_nNext] = {static_cast<uint32_t>(std::min<uint64_t>(rate, UINT32_MAX)),
                           static_cast<uint16_t>(std::min<uint64_t>(loss, 1000))};
        m_nNext = (m_nNext + 1) % kBuckets;
        m_nCount = std::min(m_nCount + 1, kBuckets);
    }
    m_bStarted = true;
    m_ulSince = now;
    m_nBytes = bytes;
    m_nPackets = packets;
    m_nLost = lost;
}

std::vector<CRateSample> CRateHistory::Samples() const {
    std::vector<CRateSample> samples;
    samples.reserve(m_nCount);
    for (size_t i = 0; i < m_nCount; ++i) samples.push_back(m_ring[(m_nNext + kBuckets - m_nCount + i) % kBuckets]);
    return samples;
}
