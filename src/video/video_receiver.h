// The common base of the video receivers.
#pragma once

#include "link/stream_receiver.h"
#include "lumomedia/video.h"

#include <cstdint>

class CFrameLink;

class CVideoReceiver : public CStreamReceiver<IVideoReceiver, IVideoReceiverNotify> {
public:
    using CStreamReceiver::CStreamReceiver;

    virtual uint32_t GetVideoChannelID() { return m_ulChannelID; }
    virtual uint32_t GetVideoReceiverID() { return ReceiverID(); }
    virtual uint32_t GetVideoSinkID() { return SinkID(); }
    /// The worker does not pump receivers: what they send goes when they are asked to send it.
    static CFrameLink* GetFrameLink() { return nullptr; }

protected:
    void NotifyData(const char* data, int length) {
        CallApplication([&] { m_pNotify->OnVideoData(data, length); });
    }
};
