// Values in bytes, at any alignment: big-endian as nearly all of the wire is, and little-endian.
#pragma once

#include <cstdint>

namespace Lumo_Base {

/// The value of `length` bytes, 4 at most.
inline uint32_t BigEndian(const void* at, int length = 4) {
    const auto* bytes = static_cast<const uint8_t*>(at);
    uint32_t value = 0;
    for (int i = 0; i < length; ++i) value = value << 8 | bytes[i];
    return value;
}
inline uint32_t LittleEndian(const void* at, int length = 4) {
    const auto* bytes = static_cast<const uint8_t*>(at);
    uint32_t value = 0;
    for (int i = length - 1; i >= 0; --i) value = value << 8 | bytes[i];
    return value;
}

/// Writes the lowest `length` bytes of a value, 4 at most.
inline void PutBigEndian(void* at, uint32_t value, int length = 4) {
    auto* bytes = static_cast<uint8_t*>(at);
    for (int i = length - 1; i >= 0; --i, value >>= 8) bytes[i] = static_cast<uint8_t>(value);
}
inline void PutLittleEndian(void* at, uint32_t value, int length = 4) {
    auto* bytes = static_cast<uint8_t*>(at);
    for (int i = 0; i < length; ++i, value >>= 8) bytes[i] = static_cast<uint8_t>(value);
}

}  // namespace Lumo_Base
