// Comparison of 16-bit sequence numbers. Both rules leave out the distance at which they would contradict each other,
// so neither is the other's negation: both sides of a link must judge alike.
#pragma once

#include <cstdint>

namespace session {

inline constexpr uint16_t kHalfRange = 32767;

/// Whether `a` is `b` or one of the 32,766 numbers before it.
constexpr bool AtOrBefore(uint16_t a, uint16_t b) { return static_cast<uint16_t>(b - a) < kHalfRange; }

/// Whether `a` lies behind `b`: one of the 32,768 numbers before it.
constexpr bool Behind(uint16_t a, uint16_t b) { return static_cast<uint16_t>(a - b) > kHalfRange; }

}  // namespace session
