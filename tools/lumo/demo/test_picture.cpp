#include "tools/lumo/demo/test_picture.h"

#include "tools/lumo/transfer/byte_codec.h"

#include <algorithm>

namespace lumo {
namespace {

constexpr uint8_t kDepth = 8, kGrey = 0;
constexpr size_t kMostStored = 65535;  // bytes of an uncompressed deflate block

uint32_t Crc(const std::string& bytes) {
    uint32_t crc = UINT32_MAX;
    for (const char byte : bytes) {
        crc ^= static_cast<uint8_t>(byte);
        for (int bit = 0; bit < 8; ++bit) crc = (crc >> 1) ^ ((crc & 1U) != 0 ? 0xedb88320U : 0U);
    }
    return ~crc;
}

uint32_t Adler(const std::string& bytes) {
    uint32_t low = 1, high = 0;
    for (const char byte : bytes) {
        low = (low + static_cast<uint8_t>(byte)) % 65521;
        high = (high + low) % 65521;
    }
    return (high << 16) | low;
}

std::string Chunk(const char* type, const std::string& body) {
    const std::string named = type + body;
    return CByteWriter()
        .U32(static_cast<uint32_t>(body.size()))
        .Bytes(named.data(), named.size())
        .U32(Crc(named))
        .Result();
}

/// A zlib stream that stores and does not compress. Its block lengths are little-endian.
std::string Stored(const std::string& bytes) {
    std::string stream = "\x78\x01";
    for (size_t at = 0; at < bytes.size(); at += kMostStored) {
        const size_t length = std::min(kMostStored, bytes.size() - at);
        const auto low = static_cast<uint8_t>(length), high = static_cast<uint8_t>(length >> 8);
        const bool last = at + length == bytes.size();
        for (const int byte : {last ? 1 : 0, int{low}, int{high}, ~low & 0xff, ~high & 0xff})
            stream += static_cast<char>(byte);
        stream.append(bytes, at, length);
    }
    return stream + CByteWriter().U32(Adler(bytes)).Result();
}

}  // namespace

std::string TestPng(uint32_t width, uint32_t height, uint32_t number) {
    std::string rows;
    for (uint32_t y = 0; y < height; ++y) {
        rows += '\0';  // no filter
        for (uint32_t x = 0; x < width; ++x) rows += static_cast<char>(static_cast<uint8_t>((x ^ y) + 37 * number));
    }
    const std::string head = CByteWriter().U32(width).U32(height).U8(kDepth).U8(kGrey).U8(0).U8(0).U8(0).Result();
    return "\x89PNG\r\n\x1a\n" + Chunk("IHDR", head) + Chunk("IDAT", Stored(rows)) + Chunk("IEND", "");
}

}  // namespace lumo
