#include "core/reassembly.h"

#include "platform/lumobase/processor.h"

#include <algorithm>

namespace {

constexpr int kUncharged = 4096;            // a frame of a few packets: it comes and goes
constexpr int kKeptCapacity = 1024 * 1024;  // not worth giving back between two frames

char* Allocate(char* old, int capacity) {
    return static_cast<char*>(std::realloc(old, static_cast<size_t>(capacity + session::kReassemblySpare)));
}

}  // namespace

CReassembly::~CReassembly() {
    m_account.Leave();
    FreeBuffer();
}

bool CReassembly::Open() {
    Begin();
    FreeBuffer();
    m_nLength = 0;
    m_bSkipping = false;
    m_bLostFrame.store(false, std::memory_order_relaxed);
    m_nCapacity = session::kReassemblyCapacity;
    m_pBuffer.reset(Allocate(nullptr, m_nCapacity));
    m_bOpen = m_pBuffer != nullptr;
    Finish();
    return m_bOpen;
}

bool CReassembly::Append(CSCTPPacket& packet) {
    Begin();
    if (AppendInUse(packet)) return true;  // in use until Reset
    Finish();
    return false;
}

void CReassembly::Reset() {
    const bool muchShorter = m_nCapacity > kKeptCapacity && m_nLength < m_nCapacity / 4;
    m_nLength = 0;
    if (muchShorter) FreeBuffer();
    Finish();
}

bool CReassembly::AppendInUse(CSCTPPacket& packet) {
    const int length = packet.GetPacketDataLen() - session::kHeaderLen;
    if (length <= 0 || !m_bOpen) return false;
    if (Skip(packet, length)) return false;
    if (!Afford(m_nLength + length)) {
        ThrowAway();
        m_bLostFrame.store(true, std::memory_order_relaxed);
        m_bSkipping = !packet.GetEnd();
        return false;
    }
    if (!Reserve(m_nLength + length)) return false;
    if (packet.GetBegin() && m_nLength != 0) return false;  // the frame being reassembled goes on with what follows
    std::memcpy(m_pBuffer.get() + m_nLength, packet.GetPacketData() + session::kHeaderLen, static_cast<size_t>(length));
    m_nLength += length;
    m_nMoved.store(BytesMoved() + static_cast<uint64_t>(length), std::memory_order_relaxed);
    return packet.GetEnd();
}

bool CReassembly::Skip(CSCTPPacket& packet, int length) {
    const bool tooLong = m_nSkipOver < session::kMaxFrameLen && m_nLength + length > m_nSkipOver;
    if (!m_bSkipping && !tooLong) return false;
    m_bSkipping = !packet.GetEnd();
    m_nLength = 0;
    return true;
}

int CReassembly::CapacityFor(int length) const {
    if (length <= m_nCapacity) return m_nCapacity;
    return std::max(session::kReassemblyCapacity, std::min(2 * length, session::kMaxFrameLen));
}

bool CReassembly::Afford(int length) {
    if (length <= kUncharged || length > session::kMaxFrameLen) return true;
    const int more = CapacityFor(length) - m_nCharged;
    if (more <= 0) return true;
    m_account.Enter(m_ulStranger);
    if (!m_account.Take(static_cast<uint64_t>(more))) return false;
    m_nCharged += more;
    return true;
}

bool CReassembly::Reserve(int length) {
    if (length <= m_nCapacity) return true;
    const int capacity = CapacityFor(length);
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
    m_bOpen = false;
    FreeBuffer();
}

void CReassembly::FreeBuffer() {
    m_pBuffer.reset();
    m_nCapacity = 0;
    if (m_nCharged > 0) m_account.Return(static_cast<uint64_t>(m_nCharged));
    m_nCharged = 0;
}

// What follows of the frame is skipped to its end.
void CReassembly::ThrowAway() {
    if (m_nLength > 0) {
        m_bSkipping = true;
        m_bLostFrame.store(true, std::memory_order_relaxed);
    }
    m_nLength = 0;
    FreeBuffer();
    m_account.Recover();
}

// The worker has the buffer for as long as it takes to free it.
void CReassembly::Begin() {
    if (m_bBegun) return;
    while (m_bInUse.exchange(true)) Lumo_Base::Yield();
    m_bBegun = true;
}

// Of the owner that lets go and the worker that asks, the later one finds the other's mark.
void CReassembly::Finish() {
    m_bBegun = false;
    m_bInUse.store(false);
    if (m_bMustGive.load()) GiveWay();
}

void CReassembly::GiveWay() {
    m_bMustGive.store(true);
    while (m_bMustGive.load() && !m_bInUse.exchange(true)) {
        if (m_bMustGive.exchange(false)) ThrowAway();
        m_bInUse.store(false);
    }
}

void CReassembly::Rest() {
    if (m_bInUse.exchange(true)) return;
    if (m_nLength == 0) FreeBuffer();
    m_bInUse.store(false);
    if (m_bMustGive.load()) GiveWay();
}
