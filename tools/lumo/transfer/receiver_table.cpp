#include "tools/lumo/transfer/receiver_table.h"

#include <algorithm>

namespace lumo {

void CSentBlocks::Subtract(uint64_t serial, CBlockRanges& lacking) const {
    const uint64_t oldest = m_ullLast > m_ring.size() ? m_ullLast - m_ring.size() : 0;
    for (uint64_t sent = std::max(serial, oldest) + 1; sent <= m_ullLast; ++sent)
        lacking.Remove(m_ring[sent % m_ring.size()].block);
}

CReceiverEntry* CReceiverTable::Find(uint64_t id) {
    const auto found = m_entries.find(id);
    return found == m_entries.end() ? nullptr : &found->second;
}

CReceiverEntry* CReceiverTable::FindOrAdd(uint64_t id, uint64_t now) {
    if (CReceiverEntry* known = Find(id)) return known;
    if (m_entries.size() >= kMaxReceivers && !MakeRoom(now)) return nullptr;
    return &m_entries[id];
}

bool CReceiverTable::MakeRoom(uint64_t now) {
    auto oldest = m_entries.end();
    for (auto entry = m_entries.begin(); entry != m_entries.end(); ++entry) {
        const bool replaceable = entry->second.Ended() || !Alive(entry->second, now);
        if (replaceable && (oldest == m_entries.end() || entry->second.heardMs < oldest->second.heardMs))
            oldest = entry;
    }
    if (oldest == m_entries.end()) return false;
    m_entries.erase(oldest);
    return true;
}

void CReceiverTable::Sweep(uint64_t now, size_t lane, uint64_t lastSerial) {
    for (auto& [id, entry] : m_entries) {
        if (entry.lane != lane) continue;
        if (!Alive(entry, now)) entry.lacking.Clear();
        if (entry.serial >= lastSerial) entry.movedMs = now;
    }
}

uint64_t CReceiverTable::Slowest(uint64_t now, size_t lane, uint64_t lastSerial) const {
    uint64_t slowest = lastSerial;
    for (const auto& [id, entry] : m_entries) {
        const bool counts = entry.lane == lane && Alive(entry, now) && now - entry.movedMs < kReceiverStuckMs;
        if (counts) slowest = std::min(slowest, entry.serial);
    }
    return slowest;
}

uint32_t CReceiverTable::NextLacking(size_t lane, uint32_t from) const {
    uint32_t next = CBlockRanges::kNone;
    for (const auto& [id, entry] : m_entries) {
        if (entry.lane == lane) next = std::min(next, entry.lacking.NextFrom(from));
    }
    return next;
}

std::vector<uint64_t> CReceiverTable::Newcomers(size_t lane, uint64_t now) const {
    std::vector<uint64_t> ids;
    for (const auto& [id, entry] : m_entries) {
        if (entry.lane == lane && !entry.knowsTransfer && Alive(entry, now)) ids.push_back(id);
    }
    return ids;
}

void CReceiverTable::OnSent(size_t lane, uint32_t block) {
    for (auto& [id, entry] : m_entries) {
        if (entry.lane == lane) entry.lacking.Remove(block);
    }
}

}  // namespace lumo
