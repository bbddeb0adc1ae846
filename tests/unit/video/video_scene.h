// A host with a video channel on it, and an application that notes what it is told.
#pragma once

#include "lumomedia/video.h"
#include "support/session_wire.h"
#include "support/test_manager.h"
#include "video/local_mcu_video.h"

#include <memory>
#include <string>
#include <vector>

namespace video_scene {

using session_wire::Ack;
using session_wire::Data;
using session_wire::ReadU32;
using session_wire::U32;

/// `length` bytes: a key frame, or one that is none.
inline std::string Key(size_t length) { return std::string(length, 'K'); }
inline std::string Delta(size_t length) { return std::string(length, '\0'); }

class CNotify final : public IVideoSenderNotify, public IVideoReceiverNotify {
public:
    void OnConnected(unsigned long ip) override { connected.push_back(ip); }
    void OnKeyFrameRequest() override { ++keyFrameRequests; }
    void OnVideoData(const char* data, int length) override { frames.emplace_back(data, static_cast<size_t>(length)); }

    std::vector<unsigned long> connected;
    std::vector<std::string> frames;
    int keyFrameRequests = 0;
};

class CScene {
public:
    uint32_t ConnectSink(uint32_t receiver, uint32_t channelID = 77) {
        host.TakeSent();
        host.Deliver(Hex("0109") + U32(receiver) + U32(channelID) + U32(9));
        const auto sent = host.TakeSent();
        return sent.empty() ? 0 : ReadU32(sent[0].bytes, 6);
    }
    uint32_t StartedSink(uint32_t receiver) {
        const uint32_t sink = ConnectSink(receiver);
        host.Deliver(Hex("010b") + U32(sink));
        host.TakeSent();
        return sink;
    }
    void Write(std::string frame) { channel->OnVideoChannelData(frame.data(), static_cast<int>(frame.size())); }

    CTestHost host;
    CNotify notify;
    std::unique_ptr<CVideoChannel> channel = std::make_unique<CVideoChannel>(77);
};

}  // namespace video_scene
