#include "core/wide/wide_receiver.h"

#include "platform/lumobase/undo.h"

#include <algorithm>
#include <new>
#include <utility>

namespace wide {

namespace {

constexpr uint64_t kHeldCost = session::kHeaderLen + session::kPayloadLen;

}  // namespace

void CWideReceiver::Open(uint64_t next, uint32_t stranger) {
    Close();
    m_account.Enter(stranger);
    CAutoLock lock(&m_cs);
    FreeSlots(next);
    m_nTurn = next;
    m_nNext.store(next, std::memory_order_relaxed);
    m_state.Open(next);
    m_state.SetRoom(Room());
}

void CWideReceiver::Close() {
    CAutoLock lock(&m_cs);
    ReleaseFrom(m_held.First());
    FreeSlots(0);
    m_nHeld = 0;
    m_nTurn = 0;  // whoever delivers now, and has closed this from within, finds nothing more
    m_nNext.store(0, std::memory_order_relaxed);
    m_nGapDueAt.store(0, std::memory_order_relaxed);
}

void CWideReceiver::Carry(uint64_t now, CSCTPPacket& packet, uint64_t number) {
    const uint64_t next = Next();
    CAutoLock lock(&m_cs);
    if (number <= next || number >= m_state.Limit() || IsHeld(number)) return;
    if (Hold(now, packet, number)) m_state.OnArrived(now, number, next, kNoTransmission, false);
}

void CWideReceiver::OnPacket(uint64_t now, CSCTPPacket& packet, const Head& head) {
    const auto ahead = static_cast<int32_t>(head.number - static_cast<uint32_t>(Next()));
    OnNumber(now, packet, Next() + static_cast<uint64_t>(static_cast<int64_t>(ahead)), head.transmission);
}

void CWideReceiver::OnGivenPacket(uint64_t now, CSCTPPacket& packet) {
    const auto ahead = static_cast<int16_t>(packet.GetSequence() - static_cast<uint16_t>(Next()));
    OnNumber(now, packet, Next() + static_cast<uint64_t>(static_cast<int64_t>(ahead)), kNoTransmission);
}

void CWideReceiver::OnNumber(uint64_t now, CSCTPPacket& packet, uint64_t number, uint32_t transmission) {
    const uint64_t next = Next();
    if (number == next) return OnNextNumber(now, packet, transmission);
    const bool behind = number < next && next - number <= kMaxInFlight;
    if (behind) return OnRepeated(now, number, transmission);
    if (number > next && number < m_state.Limit()) OnEarlyNumber(now, packet, number, transmission);
}

void CWideReceiver::OnRepeated(uint64_t now, uint64_t number, uint32_t transmission) {
    m_duplicates.Add();
    session::CountDuplicate();
    m_state.OnRepeated(now, number, transmission);
    m_delivering.TellNow();
}

// It is told before it is delivered: the application may take long.
void CWideReceiver::OnNextNumber(uint64_t now, CSCTPPacket& packet, uint32_t transmission) {
    const uint64_t number = Next();
    bool tell = false;
    {
        CAutoLock lock(&m_cs);
        Advance(now);
        tell = m_state.OnArrived(now, number, Next(), transmission, packet.GetEnd());
        if (tell) m_state.SetRoom(Room());
    }
    if (tell) m_delivering.TellNow();
    m_nTurn = number + 1;
    const CUndo deliverRest([this] { DeliverHeld(); });  // whatever the owner throws
    m_delivering.Deliver(packet);
}

void CWideReceiver::OnEarlyNumber(uint64_t now, CSCTPPacket& packet, uint64_t number, uint32_t transmission) {
    bool repeated = false;
    {
        CAutoLock lock(&m_cs);
        repeated = IsHeld(number);
        if (!repeated) {
            if (!Hold(now, packet, number)) return;
            m_state.OnArrived(now, number, Next(), transmission, packet.GetEnd());  // only what is held is told
            m_state.SetRoom(Room());
        }
    }
    if (repeated) return OnRepeated(now, number, transmission);
    m_delivering.TellNow();
}

bool CWideReceiver::Hold(uint64_t now, CSCTPPacket& packet, uint64_t number) {
    if (m_nHeld == 0) FreeSlots(Next());
    if (!MakeSlots(number + 1)) return false;
    const auto length = static_cast<uint64_t>(packet.GetPacketDataLen());
    const bool free = m_nHeld < kUnbudgetedRoom && length <= kHeldCost;
    const uint64_t cost = free ? 0 : std::max(length, kHeldCost);
    if (cost > 0 && !m_account.TakeWithinQuota(cost)) return false;
    std::unique_ptr<CSCTPPacket> copy(new (std::nothrow) CSCTPPacket(&packet));
    if (!copy || !copy->GetPacketData()) {
        if (cost > 0) m_account.Return(cost);
        return false;
    }
    m_held[number] = {std::move(copy), cost};
    if (m_nHeld++ == 0) {
        m_nGapSince = now;
        m_nGapDueAt.store(now + kUsPerSecond, std::memory_order_relaxed);
    }
    return true;
}

// One packet far ahead takes the slots of all before it.
bool CWideReceiver::MakeSlots(uint64_t end) {
    const uint64_t bytes = m_held.SlotsFor(end) * sizeof(Held);
    const bool charged = bytes > kUnbudgetedRoom * sizeof(Held) && bytes > m_nSlotBytes;
    const uint64_t more = charged ? bytes - m_nSlotBytes : 0;
    if (charged && !m_account.TakeWithinQuota(more)) return false;
    m_nSlotBytes += more;
    return m_held.Extend(end);
}

void CWideReceiver::FreeSlots(uint64_t next) {
    m_held.Clear(next);
    if (m_nSlotBytes > 0) m_account.Return(std::exchange(m_nSlotBytes, 0));
}

// The next number has come, and all that is held right behind it has its turn.
void CWideReceiver::Advance(uint64_t now) {
    uint64_t next = Next() + 1;
    while (m_nHeld > 0 && IsHeld(next)) ++next;
    m_nNext.store(next, std::memory_order_relaxed);
    if (m_nHeld > 0) m_nGapSince = now;
}

std::unique_ptr<CSCTPPacket> CWideReceiver::Release(Held& held) {
    if (!held.packet) return nullptr;
    if (held.cost > 0) m_account.Return(held.cost);
    --m_nHeld;
    return std::move(std::exchange(held, {}).packet);
}

void CWideReceiver::ReleaseFrom(uint64_t number) {
    for (; number < m_held.Next(); ++number) Release(m_held[number]);
}

std::unique_ptr<CSCTPPacket> CWideReceiver::TakeTurn() {
    CAutoLock lock(&m_cs);
    if (m_nTurn >= Next()) return nullptr;
    while (m_held.First() < m_nTurn && !m_held.IsEmpty()) m_held.PopFront();
    std::unique_ptr<CSCTPPacket> packet = Release(m_held[m_nTurn]);
    ++m_nTurn;
    if (m_nHeld == 0) FreeSlots(Next());
    return packet;
}

void CWideReceiver::DeliverHeld() {
    while (const auto packet = TakeTurn()) m_delivering.Deliver(*packet);
}

uint16_t CWideReceiver::Room() const {
    const uint64_t paid = std::max<uint64_t>(m_nHeld, kUnbudgetedRoom);  // the room counts from the delivered packet
    const uint64_t packets = paid + m_account.Affordable() / kHeldCost;
    const uint32_t window = m_byWindow.load(std::memory_order_relaxed);
    return static_cast<uint16_t>(std::min<uint64_t>(packets, kMaxInFlight) * window / session::kMaxWindow);
}

void CWideReceiver::LookAtGap(uint64_t now) {
    const uint64_t due = GapDueAt();
    if (due == 0 || now < due) return;
    bool tell = false;
    {
        CAutoLock lock(&m_cs);
        if (m_nHeld > 0 && now >= m_nGapSince + kGiveBackAfterUs) {
            ReleaseFrom(Next());
            if (m_nHeld == 0) FreeSlots(Next());
            m_state.GiveBack();
            tell = true;
        }
        m_nGapDueAt.store(m_nHeld > 0 ? now + kUsPerSecond : 0, std::memory_order_relaxed);
        tell = m_state.SetRoom(Room()) || tell;
    }
    if (tell) m_delivering.TellNow();
}

}  // namespace wide
