// The live reliable links, for the statistics.
#pragma once

#include "link/lock_order.h"
#include "lumomedia/statistics.h"
#include "platform/lumobase/crit_sec.h"

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <vector>

class CFrameLink;

/// Oldest first. To enter and to leave costs the same however many there are. A link leaves before its destructor
/// begins, so reading one under the lock is safe.
class CLinkRegistry {
public:
    /// Gives the number to leave with, never 0.
    uint64_t Add(CFrameLink* link);
    void Remove(uint64_t number);
    bool Fill(size_t index, LumoLinkStatistics& statistics);
    size_t Count();

    void CountDropped(uint64_t frames) { m_nFramesDropped.fetch_add(frames, std::memory_order_relaxed); }
    uint64_t FramesDropped() const { return m_nFramesDropped.load(std::memory_order_relaxed); }

private:
    struct Entry {
        uint64_t number;   // ascending
        CFrameLink* link;  // null once it has left
    };
    void CloseGaps() LUMO_REQUIRES(m_cs);

    CCritSec m_cs{lock_order::kLeaf};
    std::vector<Entry> m_entries LUMO_GUARDED_BY(m_cs);
    size_t m_nGaps LUMO_GUARDED_BY(m_cs) = 0;
    uint64_t m_nLastNumber LUMO_GUARDED_BY(m_cs) = 0;
    std::atomic<uint64_t> m_nFramesDropped{0};
};

CLinkRegistry& LinkRegistry();
