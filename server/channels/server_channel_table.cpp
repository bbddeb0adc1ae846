#include "server/channels/server_channel_table.h"

#include "server/channels/server_channel.h"

std::shared_ptr<CServerChannel> CServerChannelTable::Find(ChannelKey key) {
    CAutoLock lock(&m_cs);
    const auto found = m_channels.find(key);
    return found == m_channels.end() ? nullptr : found->second;
}

void CServerChannelTable::Add(ChannelKey key, std::shared_ptr<CServerChannel> channel) {
    CAutoLock lock(&m_cs);
    m_channels[key] = std::move(channel);
}

void CServerChannelTable::Remove(ChannelKey key) {
    std::shared_ptr<CServerChannel> removed;  // deleted outside the lock
    CAutoLock lock(&m_cs);
    const auto found = m_channels.find(key);
    if (found == m_channels.end()) return;
    removed = std::move(found->second);
    m_channels.erase(found);
}

size_t CServerChannelTable::Size() {
    CAutoLock lock(&m_cs);
    return m_channels.size();
}

std::vector<std::shared_ptr<CServerChannel>> CServerChannelTable::All() {
    CAutoLock lock(&m_cs);
    std::vector<std::shared_ptr<CServerChannel>> all;
    all.reserve(m_channels.size());
    for (const auto& entry : m_channels) all.push_back(entry.second);
    return all;
}
