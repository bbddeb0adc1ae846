#include "core/session_constants.h"
#include "lumomedia/packet.h"
#include "platform/lumobase/clock.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>

// Bytes 0-1 sequence, big-endian. Byte 2: version (2 bits), flag, command (5 bits). Byte 3: window size (5 bits),
// begin, end, key. Bytes 4-11 are zero.
namespace {

constexpr int kByteSequence = 0;
constexpr int kByteCommand = 2;
constexpr int kByteWindow = 3;

struct Bits {
    unsigned shift;
    unsigned mask;  // before the shift
};
constexpr Bits kVersion{6, 0x03};
constexpr Bits kFlag{5, 0x01};
constexpr Bits kCommand{0, 0x1F};
constexpr Bits kWindowSize{3, 0x1F};
constexpr Bits kBegin{2, 0x01};
constexpr Bits kEnd{1, 0x01};
constexpr Bits kKey{0, 0x01};

unsigned char Get(unsigned char byte, Bits bits) {
    return static_cast<unsigned char>((unsigned{byte} >> bits.shift) & bits.mask);
}

void Set(unsigned char& byte, Bits bits, unsigned value) {
    const unsigned kept = byte & ~(bits.mask << bits.shift);
    byte = static_cast<unsigned char>(kept | ((value & bits.mask) << bits.shift));
}

// Room for a header whatever the length, so that the accessors never leave the buffer.
unsigned char* AllocatePacket(int length) {
    auto* buffer = static_cast<unsigned char*>(std::malloc(static_cast<size_t>(std::max(length, session::kHeaderLen))));
    if (buffer) std::memset(buffer, 0, session::kHeaderLen);
    return buffer;
}

}  // namespace

CSCTPPacket::CSCTPPacket(const char* data, int length)
    : m_pHeader(reinterpret_cast<unsigned char*>(const_cast<char*>(data))),
      m_ulLastSendTime(0),
      m_pBuffer(m_pHeader),
      m_nBufferLen(length),
      m_bOwnsBuffer(false),
      m_ulResendTimeout(session::kFirstResendTimeout) {}

CSCTPPacket::CSCTPPacket(int length) : CSCTPPacket(nullptr, std::max(length, 0)) {
    m_pHeader = m_pBuffer = AllocatePacket(length);
    m_bOwnsBuffer = true;
}

CSCTPPacket::CSCTPPacket(CSCTPPacket* other) : CSCTPPacket(nullptr, other->m_nBufferLen) {
    m_pHeader = m_pBuffer = AllocatePacket(m_nBufferLen);
    m_bOwnsBuffer = true;
    if (m_pBuffer && other->m_pBuffer && m_nBufferLen > 0)
        std::memcpy(m_pBuffer, other->m_pBuffer, static_cast<size_t>(m_nBufferLen));
}

CSCTPPacket::CSCTPPacket(const CSCTPPacket&) = default;
CSCTPPacket& CSCTPPacket::operator=(const CSCTPPacket&) = default;

CSCTPPacket::~CSCTPPacket() {
    if (m_bOwnsBuffer) std::free(m_pBuffer);
}

unsigned char CSCTPPacket::GetVersion() { return Get(m_pHeader[kByteCommand], kVersion); }
unsigned char CSCTPPacket::GetCommand() { return Get(m_pHeader[kByteCommand], kCommand); }
unsigned char CSCTPPacket::GetWindowSize() { return Get(m_pHeader[kByteWindow], kWindowSize); }
bool CSCTPPacket::GetFlag() { return Get(m_pHeader[kByteCommand], kFlag) != 0; }
bool CSCTPPacket::GetBegin() { return Get(m_pHeader[kByteWindow], kBegin) != 0; }
bool CSCTPPacket::GetEnd() { return Get(m_pHeader[kByteWindow], kEnd) != 0; }
bool CSCTPPacket::GetKey() { return Get(m_pHeader[kByteWindow], kKey) != 0; }

unsigned short CSCTPPacket::GetSequence() {
    return static_cast<unsigned short>((m_pHeader[kByteSequence] << 8) | m_pHeader[kByteSequence + 1]);
}

void CSCTPPacket::SetVersion(unsigned char version) { Set(m_pHeader[kByteCommand], kVersion, version); }
void CSCTPPacket::SetCommand(unsigned char command) { Set(m_pHeader[kByteCommand], kCommand, command); }
void CSCTPPacket::SetWindowSize(unsigned char windowSize) { Set(m_pHeader[kByteWindow], kWindowSize, windowSize); }
void CSCTPPacket::SetFlag(bool flag) { Set(m_pHeader[kByteCommand], kFlag, flag); }
void CSCTPPacket::SetBegin(bool begin) { Set(m_pHeader[kByteWindow], kBegin, begin); }
void CSCTPPacket::SetEnd(bool end) { Set(m_pHeader[kByteWindow], kEnd, end); }
void CSCTPPacket::SetKey(bool key) { Set(m_pHeader[kByteWindow], kKey, key); }

void CSCTPPacket::SetSequence(unsigned short sequence) {
    m_pHeader[kByteSequence] = static_cast<unsigned char>(sequence >> 8);
    m_pHeader[kByteSequence + 1] = static_cast<unsigned char>(sequence & 0xFFU);
}

char* CSCTPPacket::GetPacketData() { return reinterpret_cast<char*>(m_pBuffer); }
int CSCTPPacket::GetPacketDataLen() { return m_nBufferLen; }
void CSCTPPacket::SetPacketDataLen(int length) { m_nBufferLen = length; }

bool CSCTPPacket::ShouldBeResent(unsigned long) {
    return ShouldBeResentAt(static_cast<uint32_t>(Lumo_Base::GetTimestamp()));
}

bool CSCTPPacket::ShouldBeResentAt(unsigned int now) {
    if (now - m_ulLastSendTime < m_ulResendTimeout) return false;
    m_ulLastSendTime = now;
    m_ulResendTimeout = std::min(2 * m_ulResendTimeout, session::kMaxResendTimeout);
    return true;
}
