#include "server/stream_table.h"

#include "server/stream.h"

std::shared_ptr<CStream> CStreamTable::Find(ChannelKey key) {
    CAutoLock lock(&m_cs);
    const auto found = m_streams.find(key);
    return found == m_streams.end() ? nullptr : found->second;
}

void CStreamTable::Add(ChannelKey key, std::shared_ptr<CStream> stream) {
    CAutoLock lock(&m_cs);
    m_streams[key] = std::move(stream);
}

void CStreamTable::Remove(ChannelKey key) {
    std::shared_ptr<CStream> removed;  // deleted outside the lock
    CAutoLock lock(&m_cs);
    const auto found = m_streams.find(key);
    if (found == m_streams.end()) return;
    removed = std::move(found->second);
    m_streams.erase(found);
}

size_t CStreamTable::Size() {
    CAutoLock lock(&m_cs);
    return m_streams.size();
}

std::vector<std::shared_ptr<CStream>> CStreamTable::All() {
    CAutoLock lock(&m_cs);
    std::vector<std::shared_ptr<CStream>> all;
    all.reserve(m_streams.size());
    for (const auto& entry : m_streams) all.push_back(entry.second);
    return all;
}
