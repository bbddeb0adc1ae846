// What the library gives a video publisher and a video subscriber.
#pragma once

#include "tools/lumo/media/stream_links.h"

#include <lumomedia/video.h>

#include <atomic>

namespace lumo {

struct VideoLibrary {
    static constexpr unsigned char kKind = kVideoKind;
    using Sender = IVideoSender;
    using SenderNotify = IVideoSenderNotify;
    using Receiver = IVideoReceiver;
    using ReceiverNotify = IVideoReceiverNotify;
    static constexpr auto kSenderUDP = &CreateVideoSenderUDP;
    static constexpr auto kSenderTCP = &CreateVideoSenderTCP;
    static constexpr auto kReceiverUDP = &CreateVideoReceiverUDP;
    static constexpr auto kReceiverTCP = &CreateVideoReceiverTCP;
    static constexpr auto kReceiverP2P = &CreateVideoReceiverP2P;
};

class CVideoPublishLink final : public CStreamPublishLink<VideoLibrary> {
public:
    /// `keyWanted` is set when a server asks for a key frame.
    CVideoPublishLink(const RelayRoute& route, CInbox& inbox, std::atomic<bool>& keyWanted)
        : CStreamPublishLink(route, inbox), m_bKeyWanted(keyWanted) {}
    ~CVideoPublishLink() override { Close(); }

private:
    void OnKeyFrameRequest() override { m_bKeyWanted = true; }

    std::atomic<bool>& m_bKeyWanted;
};

class CVideoSubscribeLink final : public CStreamSubscribeLink<VideoLibrary> {
public:
    using CStreamSubscribeLink::CStreamSubscribeLink;
    ~CVideoSubscribeLink() override { Close(); }

    void RequestKeyFrame() {
        if (Receiver()) Receiver()->RequestKeyFrame();
    }

private:
    void OnVideoData(const char* data, int length) override { Inbox().Push(data, length); }
};

}  // namespace lumo
