#include "core/reassembly.h"

#include <algorithm>

namespace {

char* Allocate(char* old, int capacity) {
    return static_cast<char*>(std::realloc(old, static_cast<size_t>(capacity + session::kReassemblySpare)));
}

}  // namespace

bool CReassembly::Open() {
    m_nLength = 0;
    m_bSkipping = false;
    m_nCapacity = session::kReassemblyCapacity;
    m_pBuffer.reset();
    m_pBuffer.reset(Allocate(nullptr, m_nCapacity));
    return m_pBuffer != nullptr;
}

bool CReassembly::Append(CSCTPPacket& packet) {
    const int length = packet.GetPacketDataLen() - session::kHeaderLen;
    if (length <= 0 || !m_pBuffer) return false;
    if (m_nSkipOver < session::kMaxFrameLen && Skip(packet, length)) return false;
    if (!Reserve(m_nLength + length)) return false;
    if (packet.GetBegin() && m_nLength != 0) return false;  // the frame under way goes on with what follows
    std::memcpy(m_pBuffer.get() + m_nLength, packet.GetPacketData() + session::kHeaderLen, static_cast<size_t>(length));
    m_nLength += length;
    return packet.GetEnd();
}

bool CReassembly::Skip(CSCTPPacket& packet, int length) {
    if (!m_bSkipping && m_nLength + length <= m_nSkipOver) return false;
    m_bSkipping = !packet.GetEnd();
    m_nLength = 0;
    return true;
}

bool CReassembly::Reserve(int length) {
    if (length <= m_nCapacity) return true;
    const int capacity = std::min(2 * length, session::kMaxFrameLen);
    char* grown = length <= session::kMaxFrameLen ? Allocate(m_pBuffer.get(), capacity) : nullptr;
    if (!grown) {
        GiveUp();
        return false;
    }
    static_cast<void>(m_pBuffer.release());  // realloc has taken the old one
    m_pBuffer.reset(grown);
    m_nCapacity = capacity;
    return true;
}

void CReassembly::GiveUp() {
    m_nLength = 0;
    m_pBuffer.reset();
}
