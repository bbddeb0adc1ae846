// What the library gives an audio publisher and an audio subscriber.
#pragma once

#include "tools/lumo/media/stream_links.h"

#include <lumomedia/audio.h>

namespace lumo {

struct AudioLibrary {
    static constexpr unsigned char kKind = kAudioKind;
    using Sender = IAudioSender;
    using SenderNotify = IAudioSenderNotify;
    using Receiver = IAudioReceiver;
    using ReceiverNotify = IAudioReceiverNotify;
    static constexpr auto kSenderUDP = &CreateAudioSenderUDP;
    static constexpr auto kSenderTCP = &CreateAudioSenderTCP;
    static constexpr auto kReceiverUDP = &CreateAudioReceiverUDP;
    static constexpr auto kReceiverTCP = &CreateAudioReceiverTCP;
    static constexpr auto kReceiverP2P = &CreateAudioReceiverP2P;
};

using CAudioPublishLink = CStreamPublishLink<AudioLibrary>;

class CAudioSubscribeLink final : public CStreamSubscribeLink<AudioLibrary> {
public:
    using CStreamSubscribeLink::CStreamSubscribeLink;
    ~CAudioSubscribeLink() override { Close(); }

private:
    void OnAudioData(const char* data, int length) override { Inbox().Push(data, length); }
};

}  // namespace lumo
