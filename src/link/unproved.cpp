#include "link/unproved.h"

#include "platform/lumobase/undo.h"

#include <algorithm>

// From here on nothing fails: what is counted and what is listed agree.
void CUnproved::Move(Addresses::iterator address, size_t from) {
    const size_t to = address->entries.size();
    m_byCount[to].splice(m_byCount[to].end(), m_byCount[from], address);
    m_nMost = std::max(m_nMost, to);
    while (m_nMost > 0 && m_byCount[m_nMost].empty()) --m_nMost;
    m_nCount.store(m_entries.size(), std::memory_order_relaxed);
}

void CUnproved::Add(uint32_t id, uint32_t ip, ChannelKey channel) {
    CAutoLock lock(&m_cs);
    const auto entry = m_entries.insert(m_entries.end(), {id, channel, {}, {}});
    CUndo undo([&]() LUMO_NO_THREAD_SAFETY_ANALYSIS {  // within this call, under the lock
        m_byID.erase(id);
        m_entries.erase(entry);
        const auto known = m_byAddress.find(ip);
        if (known == m_byAddress.end() || !known->second->entries.empty()) return;
        m_byCount.front().erase(known->second);
        m_byAddress.erase(known);
    });
    m_byID[id] = entry;
    if (m_byCount.empty()) m_byCount.resize(2);
    auto known = m_byAddress.find(ip);
    if (known == m_byAddress.end()) {
        Addresses fresh{{ip, {}}};
        known = m_byAddress.emplace(ip, fresh.begin()).first;
        m_byCount.front().splice(m_byCount.front().end(), fresh);
    }
    const auto address = entry->address = known->second;
    const size_t before = address->entries.size();
    if (m_byCount.size() < before + 2) m_byCount.resize(before + 2);
    entry->ofAddress = address->entries.insert(address->entries.end(), entry);
    undo.Keep();
    Move(address, before);
}

ChannelKey CUnproved::Remove(uint32_t id) {
    if (Count() == 0) return 0;
    CAutoLock lock(&m_cs);
    const auto found = m_byID.find(id);
    if (found == m_byID.end()) return 0;
    const auto entry = found->second;
    const ChannelKey channel = entry->channel;
    const auto address = entry->address;
    const size_t before = address->entries.size();
    address->entries.erase(entry->ofAddress);
    m_entries.erase(entry);
    m_byID.erase(found);
    Move(address, before);
    if (address->entries.empty()) {
        m_byAddress.erase(address->ip);
        m_byCount.front().erase(address);
    }
    return channel;
}

ChannelKey CUnproved::ChannelOf(uint32_t id) {
    CAutoLock lock(&m_cs);
    const auto found = m_byID.find(id);
    return found == m_byID.end() ? 0 : found->second->channel;
}

uint32_t CUnproved::WhoGivesWayTo(uint32_t ip) {
    CAutoLock lock(&m_cs);
    const auto found = m_byAddress.find(ip);
    if (found != m_byAddress.end() && found->second->entries.size() >= m_nPerAddress)
        return found->second->entries.front()->id;
    if (m_entries.empty() || m_entries.size() < m_nTotal) return 0;
    return m_byCount[m_nMost].front().entries.front()->id;
}

uint32_t CUnproved::Oldest() {
    CAutoLock lock(&m_cs);
    return m_entries.empty() ? 0 : m_entries.front().id;
}

uint32_t CUnproved::OldestOf(ChannelKey channel) {
    CAutoLock lock(&m_cs);
    const auto found =
        std::find_if(m_entries.begin(), m_entries.end(), [=](const Entry& entry) { return entry.channel == channel; });
    return found == m_entries.end() ? 0 : found->id;
}

uint32_t CUnproved::OldestOfAddress(uint32_t ip, ChannelKey channel) {
    CAutoLock lock(&m_cs);
    const auto found = m_byAddress.find(ip);
    if (found == m_byAddress.end()) return 0;
    for (const auto& entry : found->second->entries)
        if (channel == 0 || entry->channel == channel) return entry->id;
    return 0;
}
