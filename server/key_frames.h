// The streams of a medium whose publishers are to be asked for a key frame.
#pragma once

#include "link/channel_key.h"
#include "link/lock_order.h"
#include "platform/lumobase/crit_sec.h"

#include <atomic>
#include <cstdint>
#include <set>

class CStream;
class CStreamTable;

class CKeyFrames {
public:
    CKeyFrames(CStreamTable& streams, CCritSec& gate) : m_streams(streams), m_gate(gate) {}

    /// A subscriber needs one; it is asked for on the worker's turn. Any thread, possibly under the sink table's lock.
    void Want(ChannelKey key);
    /// Whoever publishes it now has not been asked yet: where somebody wants frames, a key frame is needed.
    void OnPublisher(CStream& stream);
    /// The worker's turn; takes the gate when there is something to ask.
    void OnTurn(uint32_t now);

private:
    void Add(ChannelKey key);

    CStreamTable& m_streams;
    CCritSec& m_gate;
    CCritSec m_cs{lock_order::kLeaf};
    std::set<ChannelKey> m_wanted LUMO_GUARDED_BY(m_cs);
    std::atomic<bool> m_bAny{false};
};
