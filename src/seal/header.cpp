#include "seal/header.h"

namespace seal {
namespace {

// One value's half of the first byte: 3 bits of the value itself, or this flag and its length less one.
constexpr unsigned kExtended = 8;
constexpr uint64_t kShortMost = 7;

/// Writes the value's bytes, if it has any, and returns its half of the first byte.
unsigned WriteValue(uint64_t value, unsigned char*& at) {
    if (value <= kShortMost) return static_cast<unsigned>(value);
    unsigned length = 1;
    while (length < 8 && value >> (8 * length) != 0) ++length;
    for (unsigned i = length; i-- > 0;) *at++ = static_cast<unsigned char>(value >> (8 * i));
    return kExtended | (length - 1);
}

bool ReadValue(unsigned half, const unsigned char*& at, const unsigned char* end, uint64_t& value) {
    value = half & kShortMost;
    if ((half & kExtended) == 0) return true;
    const auto length = static_cast<int>(value) + 1;
    if (end - at < length) return false;
    value = 0;
    for (int i = 0; i < length; ++i) value = value << 8 | *at++;
    return length == 1 ? value > kShortMost : value >> (8 * (length - 1)) != 0;
}

}  // namespace

int WriteHeader(uint64_t keyID, uint64_t counter, unsigned char* at) {
    unsigned char* next = at + 1;
    const unsigned high = WriteValue(keyID, next);
    const unsigned low = WriteValue(counter, next);
    at[0] = static_cast<unsigned char>(high << 4 | low);
    return static_cast<int>(next - at);
}

bool ReadHeader(const unsigned char* at, int length, Header& header) {
    if (length < 1) return false;
    const unsigned char* next = at + 1;
    const unsigned char* const end = at + length;
    if (!ReadValue(at[0] >> 4U, next, end, header.keyID)) return false;
    if (!ReadValue(at[0] & 15U, next, end, header.counter)) return false;
    header.length = static_cast<int>(next - at);
    return true;
}

}  // namespace seal
