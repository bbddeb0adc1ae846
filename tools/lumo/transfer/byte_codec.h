// Big-endian bytes of the file protocol.
#pragma once

#include <cstdint>
#include <cstring>
#include <string>

namespace lumo {

class CByteWriter {
public:
    CByteWriter& U8(uint8_t value) { return Put(value, 1); }
    CByteWriter& U16(uint16_t value) { return Put(value, 2); }
    CByteWriter& U32(uint32_t value) { return Put(value, 4); }
    CByteWriter& U64(uint64_t value) { return Put(value, 8); }
    CByteWriter& Bytes(const void* data, size_t length) {
        m_strBytes.append(static_cast<const char*>(data), length);
        return *this;
    }
    const std::string& Result() const { return m_strBytes; }

private:
    CByteWriter& Put(uint64_t value, int length) {
        for (int shift = 8 * (length - 1); shift >= 0; shift -= 8)
            m_strBytes += static_cast<char>(static_cast<uint8_t>(value >> shift));
        return *this;
    }
    std::string m_strBytes;
};

/// Once something is missing every further read gives 0 and Ok() stays false.
class CByteReader {
public:
    CByteReader(const char* data, size_t length) : m_pCursor(data), m_nLeft(data ? length : 0) {}

    uint8_t U8() { return static_cast<uint8_t>(Get(1)); }
    uint16_t U16() { return static_cast<uint16_t>(Get(2)); }
    uint32_t U32() { return static_cast<uint32_t>(Get(4)); }
    uint64_t U64() { return Get(8); }
    /// `length` bytes where they stand; null when they are not all there.
    const char* Bytes(size_t length) {
        if (!m_bOk || length > m_nLeft) {
            m_bOk = false;
            return nullptr;
        }
        const char* start = m_pCursor;
        m_pCursor += length;
        m_nLeft -= length;
        return start;
    }
    size_t Left() const { return m_nLeft; }
    bool Ok() const { return m_bOk; }
    /// Everything was there and nothing is left.
    bool Done() const { return m_bOk && m_nLeft == 0; }

private:
    uint64_t Get(size_t length) {
        const char* bytes = Bytes(length);
        uint64_t value = 0;
        for (size_t i = 0; bytes && i < length; ++i) value = (value << 8) | static_cast<uint8_t>(bytes[i]);
        return value;
    }
    const char* m_pCursor;
    size_t m_nLeft;
    bool m_bOk = true;
};

}  // namespace lumo
