// The packets in flight, oldest first.
#pragma once

#include "core/session_constants.h"
#include "lumomedia/packet.h"

#include <array>
#include <cstdint>
#include <memory>

/// A packet whose memory is used again and has room for the owner's envelope in front of the header.
class CSendPacket : public CSCTPPacket {
public:
    CSendPacket() : CSCTPPacket(nullptr, 0) {}
    ~CSendPacket() override;
    CSendPacket(const CSendPacket&) = delete;
    CSendPacket& operator=(const CSendPacket&) = delete;

    /// Makes it a packet never sent, with a zeroed header; false without memory.
    bool Renew(int payloadLength);

private:
    char* m_pMemory = nullptr;
    int m_nCapacity = 0;
};

/// A ring of at most session::kMaxWindow packets. Nothing is allocated before the first packet; a few packets that left
/// are kept for the next. Not synchronised.
class CSendWindow {
public:
    CSendWindow() = default;
    ~CSendWindow() { Clear(); }
    CSendWindow(const CSendWindow&) = delete;
    CSendWindow& operator=(const CSendWindow&) = delete;

    uint32_t Size() const { return m_nSize; }
    CSendPacket* At(uint32_t index) const { return m_pSlots->ring[Slot(index)]; }

    /// A packet to be filled and then appended; the same one until it is. Null without memory or room.
    CSendPacket* Prepare(int payloadLength);
    /// The prepared packet becomes the last of the window.
    void Append();
    void Remove(uint32_t index);
    /// Deletes every packet.
    void Clear();

private:
    static constexpr uint32_t kMaxSpare = 32;  // what the window needs once the far side has acknowledged something
    struct Slots {
        std::array<CSendPacket*, 256> ring{};  // indexed by a byte, which wraps by itself
        std::array<CSendPacket*, kMaxSpare> spare{};
    };
    static_assert(session::kMaxWindow < 256, "one slot beyond the window holds the prepared packet");

    uint8_t Slot(uint32_t index) const { return static_cast<uint8_t>(m_nHead + index); }
    void Recycle(CSendPacket* packet);

    std::unique_ptr<Slots> m_pSlots;
    uint8_t m_nHead = 0;
    uint32_t m_nSize = 0;
    uint32_t m_nSpare = 0;
};
