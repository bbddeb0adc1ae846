// Whiteboard messages as bytes, made without the library's own code.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace wb_words {

inline std::string Words(const std::vector<uint32_t>& values) {
    std::string bytes;
    for (uint32_t value : values)
        for (int shift = 0; shift < 32; shift += 8) bytes += static_cast<char>((value >> shift) & 0xff);
    return bytes;
}
inline std::string Message(uint32_t command, uint32_t objectID = 0, uint32_t tag = 0, const std::string& payload = "") {
    return Words({command, objectID, tag}) + payload;
}
inline uint32_t WordAt(const std::string& bytes, size_t offset) {
    uint32_t value = 0;
    for (size_t i = 4; i-- > 0;) value = (value << 8) | static_cast<uint8_t>(bytes.at(offset + i));
    return value;
}

enum : uint32_t {
    kOffer = 1,
    kRequest = 2,
    kData = 3,
    kDelete = 4,
    kClear = 5,
    kMove = 7,
    kReplaceAll = 15,
    kList = 18,
    kState = 19,
    kExtOffer = 20,
    kExtRequest = 21,
    kExtData = 22,
    kPointer = 0x4c51,
};

}  // namespace wb_words
