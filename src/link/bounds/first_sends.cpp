#include "link/bounds/first_sends.h"

#include "link/activity.h"

#include <algorithm>

bool CFirstSends::Take(uint64_t bytes) {
    CAutoLock lock(&m_cs);
    if (m_nWaiting + bytes > m_bounds.waiting) return false;
    m_nWaiting += bytes;
    return true;
}

void CFirstSends::GiveBack(uint64_t bytes) {
    CAutoLock lock(&m_cs);
    m_nWaiting -= bytes;
}

bool CFirstSends::Spend(uint64_t bytes) {
    CAutoLock lock(&m_cs);
    const uint32_t now = CActivity::Now();
    const uint64_t due = uint64_t{ElapsedMs(now, m_ulRefilled)} * m_bounds.perSecond / 1000;
    if (due > 0) {
        m_nMayLeave = std::min(m_bounds.atOnce, m_nMayLeave + due);
        m_ulRefilled = now;
    }
    if (bytes > m_nMayLeave) return false;
    m_nMayLeave -= bytes;
    return true;
}
