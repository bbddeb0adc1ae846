// What the sender knows of its receivers.
#pragma once

#include "tools/lumo/transfer/block_map.h"
#include "tools/lumo/transfer/messages.h"

#include <array>
#include <cstdint>
#include <map>
#include <vector>

namespace lumo {

/// The last blocks sent, by serial: those that may still be on their way.
class CSentBlocks {
public:
    uint64_t Last() const { return m_ullLast; }
    void Add(uint32_t block, uint64_t now) { m_ring[++m_ullLast % m_ring.size()] = {block, now}; }
    /// When a block has left; `now` where that is no longer known.
    uint64_t LeftAt(uint64_t serial, uint64_t now) const {
        return m_ullLast - serial < m_ring.size() ? m_ring[serial % m_ring.size()].leftMs : now;
    }
    /// Takes out of `lacking` what was sent after `serial`.
    void Subtract(uint64_t serial, CBlockRanges& lacking) const;

private:
    struct Sent {
        uint32_t block = 0;
        uint64_t leftMs = 0;
    };
    std::array<Sent, 2 * size_t{kMostLeadBlocks}> m_ring{};
    uint64_t m_ullLast = 0;
};

struct CReceiverEntry {
    uint64_t heardMs = 0;
    size_t lane = 0;                       ///< where it was heard last, and is served
    uint64_t serial = 0;                   ///< all blocks of that lane up to this one have reached it or never will
    uint64_t movedMs = 0;                  ///< when the serial last rose, or had no reason to
    uint64_t delayMs = kReceiverSilentMs;  ///< the shortest between a block and the report of it
    ReceiverState state = ReceiverState::Waiting;
    Failure failure = Failure::None;
    uint64_t bytes = 0;
    uint32_t offers = 0;
    uint64_t offeredMs = 0;   ///< when offers were last sent for it
    uint32_t offeredEnd = 0;  ///< and up to which one
    bool knowsTransfer = false;
    bool left = false;
    ByeReason bye = ByeReason::Done;
    CBlockRanges lacking;  ///< what it asked for and has not been sent since

    bool Ended() const { return left || state == ReceiverState::Complete || state == ReceiverState::Failed; }
};

/// At most kMaxReceivers; at the limit a newcomer takes the place of one that has ended or is silent, else is ignored.
class CReceiverTable {
public:
    /// Null when the table is full of living ones.
    CReceiverEntry* FindOrAdd(uint64_t id, uint64_t now);
    CReceiverEntry* Find(uint64_t id);

    static bool Alive(const CReceiverEntry& entry, uint64_t now) {
        return !entry.left && now - entry.heardMs < kReceiverSilentMs;
    }
    /// Takes note of time: who is silent asks for nothing any more, who has caught up with his lane is not stuck.
    void Sweep(uint64_t now, size_t lane, uint64_t lastSerial);
    /// The serial of the lane's slowest one that holds the pace; `lastSerial` when nobody does.
    uint64_t Slowest(uint64_t now, size_t lane, uint64_t lastSerial) const;
    /// The lowest block at or after `from` that anybody on the lane lacks; CBlockRanges::kNone when there is none.
    uint32_t NextLacking(size_t lane, uint32_t from) const;
    /// Who on the lane has not heard of this transfer.
    std::vector<uint64_t> Newcomers(size_t lane, uint64_t now) const;
    /// A block has left: it is on its way to all of the lane.
    void OnSent(size_t lane, uint32_t block);

    const std::map<uint64_t, CReceiverEntry>& Entries() const { return m_entries; }
    std::map<uint64_t, CReceiverEntry>& Entries() { return m_entries; }

private:
    bool MakeRoom(uint64_t now);
    std::map<uint64_t, CReceiverEntry> m_entries;
};

}  // namespace lumo
