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
#include <vector>

/// Oldest first, of all and of each address. Of too many the address that has most gives way, so that one who asks
/// once stays however many ask from elsewhere. Any thread.
class CUnproved {
public:
    CUnproved(size_t total, size_t perAddress) : m_nTotal(total), m_nPerAddress(perAddress) {}

    void Add(uint32_t id, uint32_t ip, ChannelKey channel);
    /// It has answered, or it is gone. Gives its channel; 0 when it was not among them.
    ChannelKey Remove(uint32_t id);

    /// 0 when it is not among them.
    ChannelKey ChannelOf(uint32_t id);
    /// Who must go before one more of this address comes: its own oldest if it has its share, else if there are too
    /// many the oldest of an address that has most; 0: nobody.
    uint32_t WhoGivesWayTo(uint32_t ip);
    size_t Count() const { return m_nCount.load(std::memory_order_relaxed); }
    /// 0 when there is none.
    uint32_t Oldest();
    uint32_t OldestOf(ChannelKey channel);
    /// On that channel, or on any.
    uint32_t OldestOfAddress(uint32_t ip, ChannelKey channel = 0);

private:
    struct Entry;
    using Entries = std::list<Entry>;
    struct Address {
        uint32_t ip;
        std::list<Entries::iterator> entries;
    };
    using Addresses = std::list<Address>;
    struct Entry {
        uint32_t id;
        ChannelKey channel;
        Addresses::iterator address;
        std::list<Entries::iterator>::iterator ofAddress;
    };

    void Move(Addresses::iterator address, size_t from) LUMO_REQUIRES(m_cs);

    const size_t m_nTotal;
    const size_t m_nPerAddress;
    std::atomic<size_t> m_nCount{0};
    CCritSec m_cs{lock_order::kLeaf};
    Entries m_entries LUMO_GUARDED_BY(m_cs);
    std::map<uint32_t, Entries::iterator> m_byID LUMO_GUARDED_BY(m_cs);
    std::map<uint32_t, Addresses::iterator> m_byAddress LUMO_GUARDED_BY(m_cs);
    std::vector<Addresses> m_byCount LUMO_GUARDED_BY(m_cs);  // those that have none while one is added, one, two...
    size_t m_nMost LUMO_GUARDED_BY(m_cs) = 0;                // of one address
};
