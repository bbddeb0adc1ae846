#include "link/bounds/unvalidated.h"

#include "platform/lumobase/undo.h"

#include <algorithm>

void CUnvalidated::Add(uint32_t id, uint32_t ip, ChannelKey channel) {
    CAutoLock lock(&m_cs);
    const auto it = m_entries.insert(m_entries.end(), {id, ip, channel, {}});
    CUndo undo([&]() LUMO_NO_THREAD_SAFETY_ANALYSIS {  // within this call, under the lock
        m_byID.erase(id);
        m_entries.erase(it);
        const auto ofAddress = m_ofAddresses.find(ip);
        if (ofAddress != m_ofAddresses.end() && ofAddress->second.empty()) m_ofAddresses.erase(ofAddress);
    });
    m_byID[id] = it;
    IDs& ofAddress = m_ofAddresses[ip];
    it->ofAddress = ofAddress.insert(ofAddress.end(), id);
    undo.Keep();
    m_nCount.store(m_entries.size(), std::memory_order_relaxed);
}

ChannelKey CUnvalidated::Remove(uint32_t id) {
    if (Count() == 0) return 0;
    CAutoLock lock(&m_cs);
    const auto found = m_byID.find(id);
    if (found == m_byID.end()) return 0;
    const auto entry = found->second;
    const ChannelKey channel = entry->channel;
    const auto address = m_ofAddresses.find(entry->ip);
    address->second.erase(entry->ofAddress);
    if (address->second.empty()) m_ofAddresses.erase(address);
    m_entries.erase(entry);
    m_byID.erase(found);
    m_nCount.store(m_entries.size(), std::memory_order_relaxed);
    return channel;
}

ChannelKey CUnvalidated::ChannelOf(uint32_t id) {
    CAutoLock lock(&m_cs);
    const auto found = m_byID.find(id);
    return found == m_byID.end() ? 0 : found->second->channel;
}

uint32_t CUnvalidated::WhoGivesWayTo(uint32_t ip) {
    CAutoLock lock(&m_cs);
    const auto found = m_ofAddresses.find(ip);
    const bool full = found != m_ofAddresses.end() && found->second.size() >= m_nPerAddress;
    if (full && !Contains(m_exempt, ip)) return found->second.front();
    return m_entries.size() < m_nTotal ? 0 : m_entries.front().id;
}

uint32_t CUnvalidated::Oldest() {
    CAutoLock lock(&m_cs);
    return m_entries.empty() ? 0 : m_entries.front().id;
}

uint32_t CUnvalidated::OldestOf(ChannelKey channel) {
    CAutoLock lock(&m_cs);
    const auto found =
        std::find_if(m_entries.begin(), m_entries.end(), [=](const Entry& entry) { return entry.channel == channel; });
    return found == m_entries.end() ? 0 : found->id;
}

uint32_t CUnvalidated::OldestOfAddress(uint32_t ip, ChannelKey channel) {
    CAutoLock lock(&m_cs);
    const auto address = m_ofAddresses.find(ip);
    if (address == m_ofAddresses.end()) return 0;
    for (const uint32_t id : address->second)
        if (channel == 0 || m_byID.at(id)->channel == channel) return id;
    return 0;
}
