#include "server/channels/key_frame_requests.h"

#include "link/activity.h"

void CKeyFrameRequests::Want(uint32_t now) {
    CAutoLock lock(&m_cs);
    if (!m_bAsked || ElapsedMs(now, m_ulAskedAt) >= kMergedMs) m_bWanted = true;
}

void CKeyFrameRequests::Came() {
    CAutoLock lock(&m_cs);
    m_bWanted = false;
    m_bAsked = false;
}

bool CKeyFrameRequests::IsDue(uint32_t now, uint32_t repeatMs) {
    CAutoLock lock(&m_cs);
    const uint32_t since = ElapsedMs(now, m_ulAskedAt);
    const bool wanted = m_bWanted && (!m_bEver || since >= kMergedMs);
    if (!wanted && !(repeatMs != 0 && m_bAsked && since >= repeatMs)) return false;
    m_bWanted = false;
    m_bAsked = m_bEver = true;
    m_ulAskedAt = now;
    return true;
}

bool CKeyFrameRequests::IsOpen(uint32_t repeatMs) {
    CAutoLock lock(&m_cs);
    return m_bWanted || (repeatMs != 0 && m_bAsked);
}
