// What may wait for, and go to, unvalidated subscribers.
#pragma once

#include "link/lock_order.h"
#include "platform/lumobase/crit_sec.h"

#include <cstdint>

/// Introduced peers draw from one such budget together, strangers from another. Any thread.
class CFirstSends {
public:
    struct Bounds {
        uint64_t waiting;    ///< bytes at all of them together
        uint64_t atOnce;     ///< bytes that may leave in a burst
        uint64_t perSecond;  ///< and from then on
    };

    explicit CFirstSends(const Bounds& bounds) : m_bounds(bounds), m_nMayLeave(bounds.atOnce) {}

    /// Room for so many bytes more; false when there is none.
    bool Take(uint64_t bytes);
    void GiveBack(uint64_t bytes);
    /// Whether a datagram of so many bytes may leave now; it is counted then.
    bool Spend(uint64_t bytes);

private:
    const Bounds m_bounds;
    CCritSec m_cs{lock_order::kLeaf};
    uint64_t m_nWaiting LUMO_GUARDED_BY(m_cs) = 0;
    uint64_t m_nMayLeave LUMO_GUARDED_BY(m_cs);
    uint32_t m_ulRefilled LUMO_GUARDED_BY(m_cs) = 0;
};
