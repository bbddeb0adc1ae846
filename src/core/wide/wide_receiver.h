// The receiving half of a wide session: holds what comes before its turn, delivers everything once and in order.
#pragma once

#include "core/session_statistics.h"
#include "core/wide/ack_state.h"
#include "core/wide/ring.h"
#include "core/wide/wide_owner.h"
#include "lumomedia/packet.h"
#include "platform/lumobase/memory_budget.h"

#include <atomic>
#include <cstdint>
#include <memory>

namespace wide {

/// The receiving thread's unless said otherwise.
class CWideReceiver final : private IBudgetHolder {
public:
    CWideReceiver(IDelivering& delivering, CAckState& state, int lockRank)
        : m_delivering(delivering), m_state(state), m_cs(lockRank) {}
    ~CWideReceiver() { Close(); }
    CWideReceiver(const CWideReceiver&) = delete;
    CWideReceiver& operator=(const CWideReceiver&) = delete;

    /// `next` is the number after the last delivered one. `stranger` is the address of a far side that came by itself.
    void Open(uint64_t next, uint32_t stranger);
    void Close();
    /// A packet that the given form has held; nothing is told.
    void Carry(uint64_t now, CSCTPPacket& packet, uint64_t number);

    /// A data packet of the wide form. What cannot be is dropped without an answer.
    void OnPacket(uint64_t now, CSCTPPacket& packet, const Head& head);
    /// One of the given form that was sent before the sender knew that both ends are wide.
    void OnGivenPacket(uint64_t now, CSCTPPacket& packet);
    /// In its proportion, an advertised window below 160 makes the room smaller.
    void SetWindow(uint8_t window) { m_byWindow.store(window, std::memory_order_relaxed); }
    /// The worker's: gives back what has waited too long behind a gap, and tells a sender of room that has returned.
    void LookAtGap(uint64_t now);
    /// When it wants that next; 0: nothing is held. Any thread.
    uint64_t GapDueAt() const { return m_nGapDueAt.load(std::memory_order_relaxed); }

    uint64_t Next() const { return m_nNext.load(std::memory_order_relaxed); }
    uint64_t Duplicates() const { return m_duplicates.Get(); }

private:
    struct Held {
        std::unique_ptr<CSCTPPacket> packet;
        uint64_t cost = 0;  // charged
    };

    void OnNumber(uint64_t now, CSCTPPacket& packet, uint64_t number, uint32_t transmission);
    void OnRepeated(uint64_t now, uint64_t number, uint32_t transmission);
    void OnNextNumber(uint64_t now, CSCTPPacket& packet, uint32_t transmission);
    void OnEarlyNumber(uint64_t now, CSCTPPacket& packet, uint64_t number, uint32_t transmission);
    bool Hold(uint64_t now, CSCTPPacket& packet, uint64_t number) LUMO_REQUIRES(m_cs);
    bool MakeSlots(uint64_t end) LUMO_REQUIRES(m_cs);
    void FreeSlots(uint64_t next) LUMO_REQUIRES(m_cs);
    bool IsHeld(uint64_t number) const LUMO_REQUIRES(m_cs) { return m_held.Has(number) && m_held[number].packet; }
    void Advance(uint64_t now) LUMO_REQUIRES(m_cs);
    void ReleaseFrom(uint64_t number) LUMO_REQUIRES(m_cs);
    std::unique_ptr<CSCTPPacket> TakeTurn();
    void DeliverHeld();
    std::unique_ptr<CSCTPPacket> Release(Held& held) LUMO_REQUIRES(m_cs);
    uint16_t Room() const LUMO_REQUIRES(m_cs);

    void GiveWay() override {}  // what is held is only refused
    uint64_t BytesMoved() override { return 0; }

    IDelivering& m_delivering;
    CAckState& m_state;
    CCritSec m_cs;
    CRing<Held> m_held LUMO_GUARDED_BY(m_cs);  // the receiving thread's before m_nNext: about to be delivered
    size_t m_nHeld LUMO_GUARDED_BY(m_cs) = 0;
    uint64_t m_nSlotBytes LUMO_GUARDED_BY(m_cs) = 0;  // charged
    uint64_t m_nGapSince LUMO_GUARDED_BY(m_cs) = 0;   // of what is held
    std::atomic<uint64_t> m_nGapDueAt{0};
    std::atomic<uint64_t> m_nNext{0};  // the receiving thread changes it, under the lock
    uint64_t m_nTurn = 0;              // whose turn it is to be delivered
    session::CCounter m_duplicates;
    std::atomic<uint8_t> m_byWindow{session::kMaxWindow};
    CBudgetAccount m_account{EarlyBudget(), *this};
};

}  // namespace wide
