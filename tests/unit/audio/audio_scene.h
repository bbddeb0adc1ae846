// A host with an audio channel on it, and an application that notes what it is told.
#pragma once

#include "audio/audio_sink.h"
#include "audio/local_mcu_audio.h"
#include "lumomedia/audio.h"
#include "support/session_wire.h"
#include "support/test_manager.h"

#include <memory>
#include <string>
#include <vector>

namespace audio_scene {

using session_wire::ReadU32;
using session_wire::U32;

class CNotify final : public IAudioSenderNotify, public IAudioReceiverNotify {
public:
    void OnConnected(unsigned long ip) override { connected.push_back(ip); }
    void OnAudioData(const char* data, int length) override { frames.emplace_back(data, static_cast<size_t>(length)); }

    std::vector<unsigned long> connected;
    std::vector<std::string> frames;
};

class CScene {
public:
    uint32_t ConnectSink(uint32_t receiver, uint32_t channelID = 77) {
        host.TakeSent();
        host.Deliver(Hex("0000") + U32(receiver) + U32(channelID) + U32(9));
        const auto sent = host.TakeSent();
        return sent.empty() ? 0 : ReadU32(sent[0].bytes, 6);
    }
    void Write(const std::string& frame) { channel->OnAudioChannelData(frame.data(), static_cast<int>(frame.size())); }

    CTestHost host;
    CNotify notify;
    std::unique_ptr<CAudioChannel> channel = std::make_unique<CAudioChannel>(77);
};

}  // namespace audio_scene
