// Far sides that have asked and not yet shown that they receive the answers: the unvalidated ones.
#pragma once

#include "link/bounds/cidr.h"
#include "link/channel_key.h"
#include "link/lock_order.h"
#include "platform/lumobase/crit_sec.h"

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <list>
#include <map>
#include <utility>

/// Oldest first, of all and of each address. Any thread.
class CUnvalidated {
public:
    /// An address of `exempt` is not limited to `perAddress`.
    CUnvalidated(size_t total, size_t perAddress, CCidrList exempt = {})
        : m_nTotal(total), m_nPerAddress(perAddress), m_exempt(std::move(exempt)) {}

    void Add(uint32_t id, uint32_t ip, ChannelKey channel);
    /// It is validated or gone. Gives its channel; 0 when it was not listed.
    ChannelKey Remove(uint32_t id);

    /// 0 when it is not listed.
    ChannelKey ChannelOf(uint32_t id);
    /// The entry that gives way before one more of this address comes: the address's own oldest if it has its quota,
    /// else the oldest of all if there are too many; 0 for none.
    uint32_t WhoGivesWayTo(uint32_t ip);
    size_t Count() const { return m_nCount.load(std::memory_order_relaxed); }
    /// 0 when there is none.
    uint32_t Oldest();
    uint32_t OldestOf(ChannelKey channel);
    /// Of one address, on any channel or on one.
    uint32_t OldestOfAddress(uint32_t ip, ChannelKey channel = 0);

private:
    using IDs = std::list<uint32_t>;
    struct Entry {
        uint32_t id;
        uint32_t ip;
        ChannelKey channel;
        IDs::iterator ofAddress;
    };

    const size_t m_nTotal;
    const size_t m_nPerAddress;
    const CCidrList m_exempt;
    std::atomic<size_t> m_nCount{0};
    CCritSec m_cs{lock_order::kLeaf};
    std::list<Entry> m_entries LUMO_GUARDED_BY(m_cs);
    std::map<uint32_t, std::list<Entry>::iterator> m_byID LUMO_GUARDED_BY(m_cs);
    std::map<uint32_t, IDs> m_ofAddresses LUMO_GUARDED_BY(m_cs);
};
