// Those who asked and have not yet shown that they receive the answers.
#pragma once

#include "link/channel_key.h"
#include "link/lock_order.h"
#include "platform/lumobase/crit_sec.h"

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <list>
#include <map>

/// Oldest first; knows how many each address has. Any thread.
class CUnproved {
public:
    CUnproved(size_t total, size_t perAddress) : m_nTotal(total), m_nPerAddress(perAddress) {}

    void Add(uint32_t id, uint32_t ip, ChannelKey channel);
    /// It has answered, or it is gone. Gives its channel; 0 when it was not among them.
    ChannelKey Remove(uint32_t id);

    /// 0 when it is not among them.
    ChannelKey ChannelOf(uint32_t id);
    bool AddressIsFull(uint32_t ip);
    bool IsFull() const { return Count() >= m_nTotal; }
    size_t Count() const { return m_nCount.load(std::memory_order_relaxed); }
    /// 0 when there is none.
    uint32_t Oldest();
    uint32_t OldestOf(ChannelKey channel);

private:
    struct Entry {
        uint32_t id;
        uint32_t ip;
        ChannelKey channel;
    };

    const size_t m_nTotal;
    const size_t m_nPerAddress;
    std::atomic<size_t> m_nCount{0};
    CCritSec m_cs{lock_order::kLeaf};
    std::list<Entry> m_entries LUMO_GUARDED_BY(m_cs);
    std::map<uint32_t, std::list<Entry>::iterator> m_byID LUMO_GUARDED_BY(m_cs);
    std::map<uint32_t, size_t> m_perAddress LUMO_GUARDED_BY(m_cs);
};
