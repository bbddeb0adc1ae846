#include "video/video_link.h"

#include "link/instances.h"
#include "video/video_constants.h"

CVideoLink::CVideoLink() : m_withinLimit(CActivity::Now()) {
    SetMaxReceivedFrame(1);  // longer ones mean nothing here
}

void CVideoLink::QueueVideo(const char* data, int length) {
    if (!data || length < video::kMinFrame) return;
    if (video::IsKeyFrame(data) && (GetCount() > video::kMaxBacklog || IsOverLimit())) DropQueue();
    QueueFrame(data, length);
}

// What waits at a sink of a server is bounded well before memory is short: there it has time to recover.
bool CVideoLink::IsStuck() {
    if (IsOverLimit()) return !GetServerHooks() || m_withinLimit.SilentFor(video::kServerPatienceMs);
    m_withinLimit.Touch();
    return false;
}
