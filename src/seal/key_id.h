// A sender's key ID: the top bit, 31 bits of the minute in which it started, 32 random bits. IDs ascend with starts.
#pragma once

#include <cstdint>

namespace seal {

constexpr uint64_t kTopBit = uint64_t{1} << 63;
constexpr uint64_t kStartMask = 0x7fffffff;

inline uint64_t KeyID(uint64_t start, uint32_t random) { return kTopBit | (start & kStartMask) << 32 | random; }
inline uint64_t StartOf(uint64_t keyID) { return keyID >> 32 & kStartMask; }

}  // namespace seal
