// The packet of the reliable session, and two cursors over byte buffers for the application's own formats.
#ifndef LUMOMEDIA_PACKET_H
#define LUMOMEDIA_PACKET_H

#include <lumomedia/export.h>

#include <cstring>

/// One packet of the reliable session: a 12-byte header and the payload in one buffer. Not synchronised.
class LUMO_API CSCTPPacket {
public:
    /// Wraps a buffer of at least 12 bytes that the caller keeps and owns; nothing is copied.
    CSCTPPacket(const char* data, int length);
    /// Allocates `length` bytes, room for a header at least, and records `length` (0 for a negative one).
    /// GetPacketData() is null when that fails.
    explicit CSCTPPacket(int length);
    /// Deep copy; null buffer when the allocation fails.
    explicit CSCTPPacket(CSCTPPacket* other);
    /// Member-wise: for packets that own nothing.
    CSCTPPacket(const CSCTPPacket&);
    CSCTPPacket& operator=(const CSCTPPacket&);
    virtual ~CSCTPPacket();

    unsigned char GetVersion();
    unsigned char GetCommand();
    unsigned char GetWindowSize();
    /// Host byte order.
    unsigned short GetSequence();
    bool GetFlag();
    bool GetBegin();
    bool GetEnd();
    bool GetKey();

    /// Stores the low 2 bits.
    void SetVersion(unsigned char version);
    /// Stores the low 5 bits.
    void SetCommand(unsigned char command);
    /// Stores the low 5 bits.
    void SetWindowSize(unsigned char windowSize);
    void SetSequence(unsigned short sequence);
    void SetFlag(bool flag);
    void SetBegin(bool begin);
    void SetEnd(bool end);
    void SetKey(bool key);

    char* GetPacketData();
    int GetPacketDataLen();
    /// Changes only the recorded length.
    void SetPacketDataLen(int length);

    /// True when the packet is due: at once the first time, then 200, 400, 800 and from then on 1000 ms after the last
    /// true answer. The argument is ignored.
    bool ShouldBeResent(unsigned long ignored);

private:
    friend class CSCTPSessionSender;
    bool ShouldBeResentAt(unsigned int now);

    unsigned char* m_pHeader;
    unsigned int m_ulLastSendTime;
    unsigned char* m_pBuffer;
    int m_nBufferLen;
    bool m_bOwnsBuffer;
    unsigned int m_ulResendTimeout;
};

/// A writer's cursor over a buffer of fixed capacity. Raw moves (Skip, SetCursor) are not checked; the typed puts are,
/// and write little-endian.
class LUMO_API CDataOutPacket {
public:
    /// Allocates `size` bytes with malloc. With `own` false the caller frees GetData().
    explicit CDataOutPacket(bool own = true, int size = 1024);
    /// Copies are member-wise: make none of a packet that owns its buffer, which both would free.
    CDataOutPacket(const CDataOutPacket&);
    CDataOutPacket& operator=(const CDataOutPacket&);
    virtual ~CDataOutPacket();

    unsigned char* GetData();
    /// Bytes between the buffer's start and the cursor.
    int GetLength();
    void Reset();
    /// Moves the cursor and returns where it was.
    unsigned char* Skip(int count);
    unsigned char* SetCursor(unsigned char* cursor);

    /// False, with nothing written, when the value does not fit.
    bool PutUInt8(unsigned char value) { return Put(value, 1); }
    bool PutUInt16(unsigned short value) { return Put(value, 2); }
    bool PutUInt32(unsigned int value) { return Put(value, 4); }
    bool PutUInt64(unsigned long long value) { return Put(value, 8); }
    bool PutBytes(const void* data, int length) {
        if (length < 0 || !Fits(length)) return false;
        if (length > 0) std::memcpy(m_pCursor, data, static_cast<unsigned long>(length));
        m_pCursor += length;
        return true;
    }

private:
    bool Fits(int length) const {
        return m_pBuffer && m_pCursor >= m_pBuffer && length <= m_nCapacity - static_cast<int>(m_pCursor - m_pBuffer);
    }
    bool Put(unsigned long long value, int length) {
        if (!Fits(length)) return false;
        for (int i = 0; i < length; ++i) *m_pCursor++ = static_cast<unsigned char>((value >> (8 * i)) & 0xffU);
        return true;
    }

    unsigned char* m_pBuffer;
    int m_nCapacity;
    unsigned char* m_pCursor;
    bool m_bOwnsBuffer;
};

/// A reader's cursor over a buffer that the caller keeps. Gets are bounds-checked and little-endian.
class LUMO_API CDataInPacket {
public:
    CDataInPacket(char* data, int length);
    CDataInPacket& operator=(const CDataInPacket&);
    CDataInPacket(const CDataInPacket& other)
        : m_pCursor(other.m_pCursor), m_pStart(other.m_pStart), m_nLength(other.m_nLength) {}

    /// The length given at construction, not what is left.
    int GetLength();

    /// False, with `value` and the cursor untouched, when less than the value is left.
    bool GetUInt8(unsigned char& value) { return Get(value, 1); }
    bool GetUInt16(unsigned short& value) { return Get(value, 2); }
    bool GetUInt32(unsigned int& value) { return Get(value, 4); }
    bool GetUInt64(unsigned long long& value) { return Get(value, 8); }
    bool GetBytes(void* data, int length) {
        if (length < 0 || length > Left()) return false;
        if (length > 0) std::memcpy(data, m_pCursor, static_cast<unsigned long>(length));
        m_pCursor += length;
        return true;
    }

private:
    int Left() const { return m_nLength - static_cast<int>(m_pCursor - m_pStart); }
    template <class T>
    bool Get(T& value, int length) {
        if (Left() < length) return false;
        unsigned long long wide = 0;
        for (int i = 0; i < length; ++i)
            wide |= static_cast<unsigned long long>(static_cast<unsigned char>(*m_pCursor++)) << (8 * i);
        value = static_cast<T>(wide);
        return true;
    }

    char* m_pCursor;
    char* m_pStart;
    int m_nLength;
};

#endif
