// Little-endian words of whiteboard messages and records.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace lumo {

/// The four bytes at `at`; 0 when they are not all there.
inline uint32_t WordAt(std::string_view bytes, size_t at) {
    if (at > bytes.size() || bytes.size() - at < 4) return 0;
    uint32_t value = 0;
    for (size_t i = 4; i > 0; --i) value = value << 8 | static_cast<uint8_t>(bytes[at + i - 1]);
    return value;
}

inline void SetWord(std::string& bytes, size_t at, uint32_t value) {
    for (size_t i = 0; i < 4; ++i) bytes[at + i] = static_cast<char>(static_cast<uint8_t>(value >> (8 * i)));
}

inline void AddWord(std::string& bytes, uint32_t value) {
    bytes.append(4, '\0');
    SetWord(bytes, bytes.size() - 4, value);
}

}  // namespace lumo
