#include "server/address_rates.h"

#include "platform/lumobase/clock.h"

#include <algorithm>
#include <utility>

CAddressRates::CAddressRates(uint64_t bytesPerSecond, CCidrList exempt)
    : m_nRate(bytesPerSecond), m_exempt(std::move(exempt)) {}

void CAddressRates::Refill(Bucket& bucket, uint64_t now) const {
    constexpr uint64_t kSecond = 1000000;
    const uint64_t passed = std::min(now - std::min(now, bucket.at), kSecond);
    const uint64_t earned = Rate() * passed / kSecond;
    if (earned == 0) return;  // let the time add up
    bucket.bytes = std::min(bucket.bytes + static_cast<int64_t>(earned), Size());
    bucket.at = now;
}

bool CAddressRates::Take(uint32_t ip, int length) {
    constexpr int kHeaders = 28;  // IP and UDP
    if (Contains(m_exempt, ip)) return true;
    const uint64_t now = Lumo_Base::GetMicroseconds();
    CAutoLock lock(&m_cs);
    Bucket& bucket = m_buckets.try_emplace(ip, Bucket{Size(), now}).first->second;
    Refill(bucket, now);
    if (bucket.bytes <= 0) {
        m_nDropped.fetch_add(1, std::memory_order_relaxed);
        return false;
    }
    bucket.bytes -= length + kHeaders;
    return true;
}

void CAddressRates::OnSecond() {
    const uint64_t now = Lumo_Base::GetMicroseconds();
    CAutoLock lock(&m_cs);
    std::erase_if(m_buckets, [&](const auto& entry) {
        Bucket bucket = entry.second;
        Refill(bucket, now);
        return Rate() == 0 || bucket.bytes >= Size();
    });
}
