// A client's unvalidated UDP subscribers.
#pragma once

#include "link/bounds/unvalidated.h"
#include "link/tables/mcu_sink.h"

#include <cstddef>
#include <cstdint>

/// Those of one medium. Peers whom the signalling has introduced are counted apart from strangers, who cannot evict
/// them. The sinks belong to the medium's tables. Any thread.
class CUnvalidatedSinks {
public:
    /// A sink that is made and not yet in its channel: what it is given waits.
    void Add(CMcuSink& sink, const CSinkInfo& info, bool introduced);
    /// Once it is acknowledged, the first of what waits may leave.
    static void Begin(CMcuSink& sink);
    /// It is validated: what waits leaves, and `queueBytes` may wait from now on.
    void OnValidated(CMcuSink& sink, uint32_t sinkID, uint64_t queueBytes);
    /// It is validated or gone.
    void Remove(uint32_t sinkID);

    bool Has(uint32_t sinkID) { return m_strangers.ChannelOf(sinkID) != 0 || m_introduced.ChannelOf(sinkID) != 0; }
    bool IsEmpty() const { return m_strangers.Count() == 0 && m_introduced.Count() == 0; }
    /// The sink that must give way before one more of this address comes; 0 for none.
    uint32_t WhoGivesWayTo(uint32_t ip, bool introduced) {
        return (introduced ? m_introduced : m_strangers).WhoGivesWayTo(ip);
    }
    /// The stranger that gives way where the medium has no room for one more; 0 for none.
    uint32_t OldestStranger() { return m_strangers.Oldest(); }

private:
    CUnvalidated m_strangers{limits::kMaxUnvalidated, limits::kUnvalidatedPerAddress};
    CUnvalidated m_introduced{limits::kMaxUnvalidated, limits::kUnvalidatedPerAddress};
};
