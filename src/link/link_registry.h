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

/// Oldest first. A link leaves before its destructor begins, so reading one under the lock is safe.
class CLinkRegistry {
public:
    void Add(CFrameLink* link);
    void Remove(CFrameLink* link);
    bool Fill(size_t index, LumoLinkStatistics& statistics);
    size_t Count();

    void CountDropped(uint64_t frames) { m_nFramesDropped.fetch_add(frames, std::memory_order_relaxed); }
    uint64_t FramesDropped() const { return m_nFramesDropped.load(std::memory_order_relaxed); }

private:
    CCritSec m_cs{lock_order::kLeaf};
    std::vector<CFrameLink*> m_links LUMO_GUARDED_BY(m_cs);
    std::atomic<uint64_t> m_nFramesDropped{0};
};

CLinkRegistry& LinkRegistry();
