// Packets that arrived before their turn, in sequence order.
#pragma once

#include "lumomedia/packet.h"
#include "platform/lumobase/memory_budget.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

/// Holds deep copies, session::kMaxHeldPackets and session::kMaxHeldBytes at most. Not synchronised.
class CHeldPackets final : private IBudgetHolder {
public:
    CHeldPackets() = default;
    ~CHeldPackets() { Clear(); }
    CHeldPackets(const CHeldPackets&) = delete;
    CHeldPackets& operator=(const CHeldPackets&) = delete;

    /// For a far side that came by itself: what is held counts towards its address's quota. Before anything is held.
    void SetStranger(uint32_t ip) { m_ulStranger = ip; }
    size_t Size() const { return m_held.size() - m_nFirst; }
    bool Contains(uint16_t sequence) const;
    /// Whether a packet of this sequence would stand before everything held.
    bool WouldBeFirst(uint16_t sequence) const;
    /// False when full, when the process or the address holds too many for all its sessions, or without memory.
    bool Insert(CSCTPPacket& packet);
    /// Takes the first packet out if it has this sequence; null otherwise.
    std::unique_ptr<CSCTPPacket> TakeFirst(uint16_t sequence);
    /// Takes the first packet out; null when there is none.
    std::unique_ptr<CSCTPPacket> TakeOldest() { return Size() == 0 ? nullptr : TakeFirst(m_held[m_nFirst].sequence); }
    void Clear();

private:
    struct Held {
        uint16_t sequence;
        std::unique_ptr<CSCTPPacket> packet;
    };

    void GiveWay() override {}  // what is held is only refused
    uint64_t BytesMoved() override { return 0; }

    std::vector<Held> m_held;
    size_t m_nFirst = 0;  // those before it are taken
    size_t m_nBytes = 0;  // of those held
    uint32_t m_ulStranger = 0;
    CBudgetAccount m_account{EarlyBudget(), *this};
};
