// How much a server sends to one address.
#pragma once

#include "link/bounds/cidr.h"
#include "link/lock_order.h"
#include "platform/lumobase/crit_sec.h"

#include <atomic>
#include <cstdint>
#include <unordered_map>

/// A bucket for each address, of a quarter of a second: what does not fit is dropped, and sessions send it again at the
/// rate that they find. Any thread.
class CAddressRates {
public:
    /// Bytes a second, headers of IP and UDP included; 0: no limit, and nothing is counted.
    CAddressRates(uint64_t bytesPerSecond, CCidrList exempt);
    void SetRate(uint64_t bytesPerSecond) { m_nRate.store(bytesPerSecond, std::memory_order_relaxed); }

    /// Whether a datagram of that length may leave now.
    bool Admits(uint32_t ip, int length) { return Rate() == 0 || Take(ip, length); }
    uint64_t Dropped() const { return m_nDropped.load(std::memory_order_relaxed); }
    /// The worker's second: forgets the addresses whose buckets are full again.
    void OnSecond();

private:
    struct Bucket {
        int64_t bytes;  // that may leave
        uint64_t at;    // us
    };

    uint64_t Rate() const { return m_nRate.load(std::memory_order_relaxed); }
    bool Take(uint32_t ip, int length);
    int64_t Size() const { return static_cast<int64_t>(Rate() / kBucketsInSecond); }
    void Refill(Bucket& bucket, uint64_t now) const;

    static constexpr uint64_t kBucketsInSecond = 4;

    std::atomic<uint64_t> m_nRate;
    const CCidrList m_exempt;
    std::atomic<uint64_t> m_nDropped{0};
    CCritSec m_cs{lock_order::kLeaf};
    std::unordered_map<uint32_t, Bucket> m_buckets LUMO_GUARDED_BY(m_cs);
};
