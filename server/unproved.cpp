#include "server/unproved.h"

#include "platform/lumobase/undo.h"

#include <algorithm>

void CUnproved::Add(uint32_t id, uint32_t ip, ChannelKey channel) {
    CAutoLock lock(&m_cs);
    const auto it = m_entries.insert(m_entries.end(), {id, ip, channel});
    CUndo undo([&]() LUMO_NO_THREAD_SAFETY_ANALYSIS {  // within this call, under the lock
        m_byID.erase(id);
        m_entries.erase(it);
    });
    m_byID[id] = it;
    ++m_perAddress[ip];
    undo.Keep();
    m_nCount.store(m_entries.size(), std::memory_order_relaxed);
}

ChannelKey CUnproved::Remove(uint32_t id) {
    if (Count() == 0) return 0;
    CAutoLock lock(&m_cs);
    const auto found = m_byID.find(id);
    if (found == m_byID.end()) return 0;
    const ChannelKey channel = found->second->channel;
    const auto address = m_perAddress.find(found->second->ip);
    if (--address->second == 0) m_perAddress.erase(address);
    m_entries.erase(found->second);
    m_byID.erase(found);
    m_nCount.store(m_entries.size(), std::memory_order_relaxed);
    return channel;
}

ChannelKey CUnproved::ChannelOf(uint32_t id) {
    CAutoLock lock(&m_cs);
    const auto found = m_byID.find(id);
    return found == m_byID.end() ? 0 : found->second->channel;
}

bool CUnproved::AddressIsFull(uint32_t ip) {
    CAutoLock lock(&m_cs);
    const auto found = m_perAddress.find(ip);
    return found != m_perAddress.end() && found->second >= m_nPerAddress;
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
