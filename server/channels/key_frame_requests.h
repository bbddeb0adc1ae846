// When the publisher of a channel is to be asked for a key frame.
#pragma once

#include "link/lock_order.h"
#include "platform/lumobase/crit_sec.h"

#include <cstdint>

/// Many requests within a short while are one: the key frame that it brings serves them all. Any thread.
class CKeyFrameRequests {
public:
    static constexpr uint32_t kMergedMs = 200;

    /// A subscriber that wants frames by now needs a key frame.
    void Want(uint32_t now);
    /// A key frame has come and is about to go to the subscribers.
    void Came();
    /// Whether to ask now; counts as asked then. `repeatMs`: so often again until one comes; 0 for never.
    bool IsDue(uint32_t now, uint32_t repeatMs);
    /// Whether there may be something to ask without a new request.
    bool IsOpen(uint32_t repeatMs);

private:
    CCritSec m_cs{lock_order::kLeaf};
    bool m_bWanted LUMO_GUARDED_BY(m_cs) = false;  // to be asked
    bool m_bAsked LUMO_GUARDED_BY(m_cs) = false;   // asked, and nothing has come since
    bool m_bEver LUMO_GUARDED_BY(m_cs) = false;
    uint32_t m_ulAskedAt LUMO_GUARDED_BY(m_cs) = 0;
};
