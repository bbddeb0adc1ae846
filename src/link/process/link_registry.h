// The live links, for the statistics.
#pragma once

#include "link/lock_order.h"
#include "lumomedia/statistics.h"
#include "platform/lumobase/crit_sec.h"

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <vector>

/// A link that can say what it has carried. Any thread, under the registry's lock.
class ILinkReport {
public:
    virtual void FillStatistics(LumoLinkStatistics& statistics) = 0;

protected:
    ~ILinkReport() = default;
};

/// Oldest first. To enter and to leave costs the same however many there are. A link leaves before its destructor
/// begins, so reading one under the lock is safe.
class CLinkRegistry {
public:
    /// Gives the number to leave with, never 0.
    uint64_t Add(ILinkReport* link);
    void Remove(uint64_t number);
    bool Fill(size_t index, LumoLinkStatistics& statistics);
    size_t Count();

    void CountDropped(uint64_t frames) { m_nFramesDropped.fetch_add(frames, std::memory_order_relaxed); }
    uint64_t FramesDropped() const { return m_nFramesDropped.load(std::memory_order_relaxed); }

private:
    struct Entry {
        uint64_t number;    // ascending
        ILinkReport* link;  // null once it has left
    };
    void CloseGaps() LUMO_REQUIRES(m_cs);

    CCritSec m_cs{lock_order::kLinkRegistry};
    std::vector<Entry> m_entries LUMO_GUARDED_BY(m_cs);
    size_t m_nGaps LUMO_GUARDED_BY(m_cs) = 0;
    uint64_t m_nLastNumber LUMO_GUARDED_BY(m_cs) = 0;
    std::atomic<uint64_t> m_nFramesDropped{0};
};

CLinkRegistry& LinkRegistry();

/// A link's place in the registry.
class CLinkEntry {
public:
    CLinkEntry() = default;
    ~CLinkEntry() { Leave(); }
    CLinkEntry(const CLinkEntry&) = delete;
    CLinkEntry& operator=(const CLinkEntry&) = delete;

    /// The link is wholly constructed by then. Any thread; all but the first time changes nothing.
    void Enter(ILinkReport& link) {
        if (!m_bEntered.exchange(true)) m_nNumber.store(LinkRegistry().Add(&link));
    }
    /// Before the link's destructor begins. The owner's thread.
    void Leave() {
        if (m_bEntered.exchange(false)) LinkRegistry().Remove(m_nNumber);
    }

private:
    std::atomic<bool> m_bEntered{false};
    std::atomic<uint64_t> m_nNumber{0};
};
