#include "core/wide/ack_state.h"

#include <algorithm>

namespace wide {

void CAckState::Open(uint64_t next) {
    CAutoLock lock(&m_cs);
    m_nNext = next;
    m_early.Clear();
    m_recent.fill(next);
    m_ulTransmission = kNoTransmission;
    m_nUntold = 0;
    m_usRoom = m_usToldRoom = kUnbudgetedRoom;
    m_nGivenBack = 0;
    m_nDueAt.store(0, std::memory_order_relaxed);
    m_nLimit.store(next + kUnbudgetedRoom, std::memory_order_relaxed);
}

void CAckState::Remember(uint64_t number) { m_recent[m_nRecent++ % kRecent] = number; }

bool CAckState::OnArrived(uint64_t now, uint64_t number, uint64_t next, uint32_t transmission, bool endsFrame) {
    CAutoLock lock(&m_cs);
    const bool inOrder = number + 1 == next;
    m_nNext = next;
    if (number >= next) {
        m_early.Add({number, number + 1}, [](uint64_t) {});
        Remember(number);
    }
    m_early.DropBefore(next);
    m_ulTransmission = transmission;
    m_nArrivedAt = now;
    ++m_nUntold;
    const bool atOnce = !inOrder || endsFrame || m_nUntold >= kPacketsPerAck;
    if (m_nUntold == 1) m_nDueAt.store(now + kMostAckDelayUs, std::memory_order_relaxed);
    return atOnce;
}

void CAckState::OnRepeated(uint64_t now, uint64_t number, uint32_t transmission) {
    CAutoLock lock(&m_cs);
    m_ulTransmission = transmission;
    m_nArrivedAt = now;
    ++m_nUntold;
    if (number >= m_nNext) Remember(number);
}

void CAckState::GiveBack() {
    CAutoLock lock(&m_cs);
    m_early.Clear();
    ++m_nGivenBack;
}

// Told at once when it begins again, or has grown by much: a sender that waits for room hears of it by nothing else.
bool CAckState::SetRoom(uint16_t room) {
    CAutoLock lock(&m_cs);
    m_usRoom = std::min<uint16_t>(room, kMaxInFlight);
    m_nLimit.store(std::max(Limit(), m_nNext + m_usRoom), std::memory_order_relaxed);
    return m_usRoom >= 2 * uint32_t{m_usToldRoom} + 1;
}

Ack CAckState::Take(uint64_t now) {
    CAutoLock lock(&m_cs);
    Ack ack;
    ack.delivered = static_cast<uint32_t>(m_nNext - 1);
    ack.transmission = m_ulTransmission;
    ack.waitedUs = static_cast<uint32_t>(std::min<uint64_t>(now - std::min(now, m_nArrivedAt), 0xFFFFFF));
    ack.room = m_usRoom;
    ack.givenBack = m_nGivenBack;
    AddRanges(ack);
    m_usToldRoom = m_usRoom;
    m_nUntold = 0;
    m_nDueAt.store(0, std::memory_order_relaxed);
    return ack;
}

void CAckState::AddRange(Ack& ack, const Interval& interval) const {
    if (ack.rangeCount == kMaxRanges) return;
    const auto first = static_cast<uint16_t>(interval.first + 1 - m_nNext);
    for (int i = 0; i < ack.rangeCount; ++i)
        if (ack.ranges[static_cast<size_t>(i)].first == first) return;
    ack.ranges[ack.rangeCount++] = {first, static_cast<uint16_t>(interval.end - interval.first)};
}

// First what has changed last, so that a lost acknowledgement is made up for by the next ones; then from the newest
// down.
void CAckState::AddRanges(Ack& ack) const {
    if (m_early.IsEmpty()) return;
    for (size_t i = 1; i <= kRecent; ++i) {
        const uint64_t number = m_recent[(m_nRecent + kRecent - i) % kRecent];
        if (m_early.Contains(number)) AddRange(ack, m_early.Around(number));
    }
    const auto& all = m_early.All();
    for (auto interval = all.rbegin(); interval != all.rend() && ack.rangeCount < kMaxRanges; ++interval)
        AddRange(ack, *interval);
}

}  // namespace wide
