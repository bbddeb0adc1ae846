#include "video/video_link.h"

#include "video/video_constants.h"

CVideoLink::CVideoLink() : m_withinLimit(CActivity::Now()) {
    SetMaxReceivedFrame(1);  // longer ones mean nothing here
}

void CVideoLink::QueueVideo(const char* data, int length) {
    if (!data || length < video::kMinFrame) return;
    if (video::IsKeyFrame(data) && (GetCount() > video::kMaxBacklog || IsOverLimit())) DropQueue();
    QueueFrame(data, length);
}

bool CVideoLink::IsStuck() {
    if (HasGivenWay()) return true;
    if (IsOverLimit()) return m_withinLimit.SilentFor(video::kPatienceMs);
    m_withinLimit.Touch();
    return false;
}
