// The channels of a medium whose publishers are to be asked for a key frame.
#pragma once

#include "link/channel_key.h"
#include "link/lock_order.h"
#include "platform/lumobase/crit_sec.h"

#include <atomic>
#include <cstdint>
#include <set>

class CServerChannel;
class CServerChannelTable;

class CKeyFrames {
public:
    CKeyFrames(CServerChannelTable& channels, CCritSec& gate) : m_channels(channels), m_gate(gate) {}

    /// A subscriber needs a key frame; the worker's turn asks for it. Any thread, possibly under the sink table's lock.
    void Want(ChannelKey key);
    /// The channel has a new publisher, which has not been asked yet: if a subscriber wants frames, it needs a key
    /// frame.
    void OnPublisher(CServerChannel& channel);
    /// The worker's turn; takes the gate when there is something to ask.
    void OnTurn(uint32_t now);

private:
    void Add(ChannelKey key);

    CServerChannelTable& m_channels;
    CCritSec& m_gate;
    CCritSec m_cs{lock_order::kLeaf};
    std::set<ChannelKey> m_wanted LUMO_GUARDED_BY(m_cs);
    std::atomic<bool> m_bAny{false};
};
