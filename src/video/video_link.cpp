#include "video/video_link.h"

#include "video/video_constants.h"

CVideoLink::CVideoLink(ILinkOwner& owner) : CFrameLink(owner), m_withinLimit(CActivity::Now()) {
    Session().SetMaxReceivedFrame(1);  // longer ones mean nothing here
}

void CVideoLink::QueueVideo(const char* data, int length) {
    if (!data || length < video::kMinFrame) return;
    if (video::IsKeyFrame(data) && (QueuedFrames() > video::kMaxBacklog || IsOverLimit())) DropQueue();
    QueueFrame(data, length);
}

bool CVideoLink::IsStuck() {
    if (HasGivenWay()) return true;
    if (IsOverLimit()) return m_withinLimit.SilentFor(video::kPatienceMs);
    m_withinLimit.Touch();
    return false;
}
