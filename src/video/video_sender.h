// The common base of the video senders: a sink of the channel that forwards to a server while that wants to see it.
#pragma once

#include "link/stream_sender.h"
#include "video/video_sink.h"

class CVideoSender : public CStreamSender<CVideoSink, IVideoSender, IVideoSenderNotify> {
public:
    using CStreamSender::CStreamSender;

    void OnVideoChannelData(char* data, int length) override { SendVideoData(data, length); }
    virtual void SendVideoData(char* data, int length) = 0;

protected:
    void NotifyKeyFrameRequest() {
        CallApplication([&] { m_pNotify->OnKeyFrameRequest(); });
    }
};
