// What a channel carried over the last minutes.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

struct CRateSample {
    uint32_t bytesPerSecond;
    uint16_t lossPermille;  ///< of the packets sent to subscribers, those sent again
};

/// A ring of five minutes. Not synchronised.
class CRateHistory {
public:
    static constexpr uint32_t kBucketMs = 2000;
    static constexpr size_t kBuckets = 150;

    /// Totals so far, told about once a second.
    void Add(uint32_t now, uint64_t bytes, uint64_t packets, uint64_t lost);
    /// Oldest first.
    std::vector<CRateSample> Samples() const;
    uint32_t BytesPerSecond() const { return m_nCount == 0 ? 0 : Last().bytesPerSecond; }
    uint16_t LossPermille() const { return m_nCount == 0 ? uint16_t{0} : Last().lossPermille; }

private:
    const CRateSample& Last() const { return m_ring[(m_nNext + kBuckets - 1) % kBuckets]; }

    std::array<CRateSample, kBuckets> m_ring{};
    size_t m_nNext = 0;
    size_t m_nCount = 0;
    bool m_bStarted = false;
    uint32_t m_ulSince = 0;  // start of the current bucket, and the totals then
    uint64_t m_nBytes = 0;
    uint64_t m_nPackets = 0;
    uint64_t m_nLost = 0;
};
