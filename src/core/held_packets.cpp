#include "core/held_packets.h"

#include "core/sequence.h"
#include "core/session_constants.h"
#include "platform/lumobase/undo.h"

#include <algorithm>
#include <new>

bool CHeldPackets::Contains(uint16_t sequence) const {
    return std::any_of(m_held.begin() + static_cast<std::ptrdiff_t>(m_nFirst), m_held.end(),
                       [sequence](const Held& held) { return held.sequence == sequence; });
}

bool CHeldPackets::WouldBeFirst(uint16_t sequence) const {
    return Size() == 0 || session::AtOrBefore(sequence, m_held[m_nFirst].sequence);
}

bool CHeldPackets::Insert(CSCTPPacket& packet) {
    const auto length = static_cast<size_t>(packet.GetPacketDataLen());
    if (Size() >= session::kMaxHeldPackets || m_nBytes + length > session::kMaxHeldBytes) return false;
    m_account.Enter(m_ulStranger);
    if (!m_account.TakeWithinQuota(length)) return false;
    CUndo undo([this, length] { m_account.Return(length); });
    std::unique_ptr<CSCTPPacket> copy(new (std::nothrow) CSCTPPacket(&packet));
    if (!copy || !copy->GetPacketData()) return false;
    try {
        m_held.erase(m_held.begin(), m_held.begin() + static_cast<std::ptrdiff_t>(m_nFirst));
        m_nFirst = 0;
        const uint16_t sequence = packet.GetSequence();
        const auto place = std::find_if(m_held.begin(), m_held.end(), [sequence](const Held& held) {
            return session::AtOrBefore(sequence, held.sequence);
        });
        m_held.insert(place, Held{sequence, std::move(copy)});
        m_nBytes += length;
        undo.Keep();
    } catch (const std::bad_alloc&) {
        return false;
    }
    return true;
}

std::unique_ptr<CSCTPPacket> CHeldPackets::TakeFirst(uint16_t sequence) {
    if (Size() == 0 || m_held[m_nFirst].sequence != sequence) return nullptr;
    std::unique_ptr<CSCTPPacket> packet = std::move(m_held[m_nFirst++].packet);
    m_nBytes -= static_cast<size_t>(packet->GetPacketDataLen());
    m_account.Return(static_cast<uint64_t>(packet->GetPacketDataLen()));
    if (Size() == 0) Clear();
    return packet;
}

void CHeldPackets::Clear() {
    m_account.Return(m_nBytes);
    m_held.clear();
    m_nFirst = 0;
    m_nBytes = 0;
}
