// What a receiver has to tell its sender: what has arrived, and when it has to be told.
#pragma once

#include "core/wide/intervals.h"
#include "core/wide/wide_packets.h"
#include "platform/lumobase/crit_sec.h"

#include <array>
#include <atomic>
#include <cstdint>

namespace wide {

/// The receiving thread notes what arrives; it and the worker tell it. Times in microseconds.
class CAckState {
public:
    explicit CAckState(int lockRank) : m_cs(lockRank) {}

    /// Begins anew: `next` is the number after the last delivered one.
    void Open(uint64_t next);
    /// A packet has arrived: in its turn, or out of order. Everything up to before `next` is delivered, or about to
    /// be. True when this has to be told at once.
    bool OnArrived(uint64_t now, uint64_t number, uint64_t next, uint32_t transmission, bool endsFrame);
    /// One that was there already; always to be told at once.
    void OnRepeated(uint64_t now, uint64_t number, uint32_t transmission);
    /// Nothing that is held out of order will be delivered: the sender has to send it again.
    void GiveBack();
    /// The room for packets beyond the delivered ones. True when the sender has to be told at once.
    bool SetRoom(uint16_t room);

    /// What to tell now; afterwards nothing is due.
    Ack Take(uint64_t now);
    /// When what has not been told is due; 0: everything is told.
    uint64_t DueAt() const { return m_nDueAt.load(std::memory_order_relaxed); }
    /// The first number that the room excludes. Any thread.
    uint64_t Limit() const { return m_nLimit.load(std::memory_order_relaxed); }

private:
    static constexpr size_t kRecent = 8;

    void Remember(uint64_t number) LUMO_REQUIRES(m_cs);
    void AddRange(Ack& ack, const Interval& interval) const LUMO_REQUIRES(m_cs);
    void AddRanges(Ack& ack) const LUMO_REQUIRES(m_cs);

    CCritSec m_cs;
    uint64_t m_nNext LUMO_GUARDED_BY(m_cs) = 0;
    CIntervals m_early LUMO_GUARDED_BY(m_cs);  // arrived beyond m_nNext
    std::array<uint64_t, kRecent> m_recent LUMO_GUARDED_BY(m_cs){};
    size_t m_nRecent LUMO_GUARDED_BY(m_cs) = 0;
    uint32_t m_ulTransmission LUMO_GUARDED_BY(m_cs) = kNoTransmission;
    uint64_t m_nArrivedAt LUMO_GUARDED_BY(m_cs) = 0;
    uint32_t m_nUntold LUMO_GUARDED_BY(m_cs) = 0;
    uint16_t m_usRoom LUMO_GUARDED_BY(m_cs) = kUnbudgetedRoom;
    uint16_t m_usToldRoom LUMO_GUARDED_BY(m_cs) = kUnbudgetedRoom;
    uint8_t m_nGivenBack LUMO_GUARDED_BY(m_cs) = 0;
    std::atomic<uint64_t> m_nDueAt{0};
    std::atomic<uint64_t> m_nLimit{0};
};

}  // namespace wide
