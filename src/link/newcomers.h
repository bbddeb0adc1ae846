// A client's UDP subscribers that have not shown yet that they are there.
#pragma once

#include "link/mcu_sink.h"
#include "link/unproved.h"

#include <cstddef>
#include <cstdint>

/// Those of one medium. Whom the signalling has introduced is not counted with strangers, who cannot push it out. The
/// objects that it names are somebody else's. Any thread.
class CNewcomers {
public:
    /// A sink that is made and not yet in its channel: what it is given waits.
    void Add(CMcuSink& sink, const CSinkInfo& info, bool introduced);
    /// Once it is acknowledged, the first of what waits may leave.
    static void Begin(CMcuSink& sink);
    /// It has shown itself: what waits leaves, and `queueBytes` may wait from now on.
    void OnShown(CMcuSink& sink, uint32_t sinkID, uint64_t queueBytes);
    /// It has shown itself or is gone.
    void Remove(uint32_t sinkID);

    bool Has(uint32_t sinkID) { return m_strangers.ChannelOf(sinkID) != 0 || m_introduced.ChannelOf(sinkID) != 0; }
    bool IsEmpty() const { return m_strangers.Count() == 0 && m_introduced.Count() == 0; }
    /// Who must go before one more of this address comes; 0: nobody.
    uint32_t WhoGivesWayTo(uint32_t ip, bool introduced) {
        return (introduced ? m_introduced : m_strangers).WhoGivesWayTo(ip);
    }
    /// Who goes where the medium has no room for one more; 0: nobody.
    uint32_t OldestStranger() { return m_strangers.Oldest(); }

private:
    CUnproved m_strangers{limits::kMaxUnproved, limits::kUnprovedPerAddress};
    CUnproved m_introduced{limits::kMaxUnproved, limits::kUnprovedPerAddress};
};
