// A reliable UDP link that sends video.
#pragma once

#include "link/activity.h"
#include "link/udp/frame_link.h"

/// A link that lags jumps to the newest key frame: that takes the place of a backlog.
class CVideoLink : public CFrameLink {
public:
    explicit CVideoLink(ILinkOwner& owner);

    /// Queues a copy of a frame and lets it go at once when the link is idle.
    void QueueVideo(const char* data, int length);
    /// The sweep's or the application's poll: whether more waits than may, and no key frame can be hoped to cure it.
    bool IsStuck();

private:
    CActivity m_withinLimit;
};
