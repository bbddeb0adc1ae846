// Big-endian writer and reader of the fixed part of datagrams and TCP messages.
#pragma once

#include "core/wire/commands.h"
#include "platform/lumobase/byte_order.h"

#include <cstdint>
#include <cstring>

namespace wire {

/// Writes kind, command and fields into a fixed buffer. A field that does not fit is not written, and the writer stays
/// failed.
class CWireWriter {
public:
    CWireWriter() = default;
    CWireWriter(Kind kind, uint8_t command) { U8(static_cast<uint8_t>(kind)).U8(command); }
    /// Copies what is written, not the room behind it.
    CWireWriter(const CWireWriter& other) { *this = other; }
    CWireWriter& operator=(const CWireWriter& other) {
        if (this == &other) return *this;
        m_nLength = other.m_nLength;
        m_bFits = other.m_bFits;
        std::memcpy(m_data, other.m_data, static_cast<size_t>(other.m_nLength));
        return *this;
    }

    CWireWriter& U8(uint8_t value) { return Put(value, 1); }
    CWireWriter& U16(uint16_t value) { return Put(value, 2); }
    CWireWriter& U32(uint32_t value) { return Put(value, 4); }
    CWireWriter& Bytes(const void* data, int length) {
        if (length < 0 || length > kCapacity - m_nLength) {
            m_bFits = false;
        } else if (length > 0) {
            std::memcpy(m_data + m_nLength, data, static_cast<size_t>(length));
            m_nLength += length;
        }
        return *this;
    }

    /// False once anything did not fit.
    bool Fits() const { return m_bFits; }
    const char* Data() const { return m_data; }
    int Length() const { return m_nLength; }

private:
    static constexpr int kCapacity = 1500;
    CWireWriter& Put(uint32_t value, int length) {
        if (length > kCapacity - m_nLength) {
            m_bFits = false;
            return *this;
        }
        Lumo_Base::PutBigEndian(m_data + m_nLength, value, length);
        m_nLength += length;
        return *this;
    }

    int m_nLength = 0;
    bool m_bFits = true;
    char m_data[kCapacity];
};

/// Reads big-endian values; once something is missing every further read gives 0 and Ok() stays false.
class CWireReader {
public:
    CWireReader(const void* data, int length)
        : m_pCursor(static_cast<const uint8_t*>(data)), m_nLeft(data && length > 0 ? length : 0) {}

    uint8_t U8() { return static_cast<uint8_t>(Get(1)); }
    uint16_t U16() { return static_cast<uint16_t>(Get(2)); }
    uint32_t U32() { return Get(4); }

    bool Ok() const { return m_bOk; }
    const char* Rest() const { return reinterpret_cast<const char*>(m_pCursor); }
    int Left() const { return m_nLeft; }

private:
    uint32_t Get(int length) {
        if (!m_bOk || length > m_nLeft) {
            m_bOk = false;
            return 0;
        }
        const uint32_t value = Lumo_Base::BigEndian(m_pCursor, length);
        m_pCursor += length;
        m_nLeft -= length;
        return value;
    }

    const uint8_t* m_pCursor;
    int m_nLeft;
    bool m_bOk = true;
};

}  // namespace wire
