// The log lines of audio: what comes and goes, and nothing of the medium's own.
#include "log_scene.h"

#include "lumomedia/audio.h"

#include <gtest/gtest.h>

using namespace log_lines;

namespace {

class CListener : public IAudioSenderNotify, public IAudioReceiverNotify {
public:
    void OnConnected(unsigned long) override {}
    void OnAudioData(const char*, int) override {}
};

struct AudioRow {
    const char* name;
    std::string datagram;
    std::vector<int> answers;
};

TEST(LogLines, AudioLogsDatagramsAlone) {
    CScene scene;
    CListener app;
    CAudioChannel channel(77);
    const auto last = [&](size_t offset) { return U32(scene.LastID(offset)); };
    scene.host.TakeSent();
    IAudioSender* sender = nullptr;
    EXPECT_EQ(scene.Of([&] { sender = CreateAudioSenderUDP(app, 77, CTestHost::kPeerIP, 0, 0, 7001); }),
              Lines{Sent(10)});
    const std::string key = last(6);
    IAudioReceiver* receiver = nullptr;
    EXPECT_EQ(
        scene.Of([&] { receiver = CreateAudioReceiverUDP(app, 77, CTestHost::kPeerIP, 0, 0, 7001, 0, 0, 0, 0, 1); }),
        Lines{Sent(28)});
    const std::string id = last(2);
    scene.host.Deliver(Hex("0000") + U32(6) + U32(77) + U32(1));
    const std::string sink = last(6);
    const AudioRow rows[] = {
        {"sink connect", Hex("0000") + U32(5) + U32(77) + U32(1), {10, 10}},
        {"unknown channel", Hex("0000") + U32(5) + U32(78) + U32(1), {}},
        {"servers' form", Hex("0000") + std::string(26, '\0'), {}},
        {"sink start", Hex("0004") + sink, {10}},
        {"sink stop", Hex("0006") + sink, {10}},
        {"sink disconnect", Hex("0008") + sink, {}},
        {"unknown sink", Hex("0004") + sink, {}},
        {"unknown command", Hex("0003") + sink, {}},
        {"too short", Hex("00"), {}},
        {"sender connected", Hex("0013") + key + U32(500) + U32(0), {}},
        {"sender start", Hex("0014") + key + U32(1), {6}},
        {"sender stop", Hex("0016") + key, {6}},
        {"receiver connected", Hex("0001") + id + U32(600), {6, 6}},
        {"receiver started", Hex("0005") + id + U32(600), {}},
        {"receiver stopped", Hex("0007") + id + U32(600), {}},
        {"frame", Hex("0002") + id + U32(600) + "frame", {}},
    };
    for (const AudioRow& row : rows) {
        Lines rest;
        for (const int length : row.answers) rest.push_back(Sent(length));
        EXPECT_EQ(scene.Of([&] { scene.host.Deliver(row.datagram); }),
                  Received(0, row.datagram.size(), "UDP_AUDIO", rest))
            << row.name;
    }
    EXPECT_EQ(scene.Of([&] { receiver->ReleaseConnections(); }), (Lines(3, Sent(6))));
    EXPECT_EQ(scene.Of([&] { sender->ReleaseConnections(); }), (Lines(3, Sent(6))));
    EXPECT_EQ(scene.Of([&] { channel.ReleaseConnections(); }), Lines{});
    scene.app.ReleaseConnections();
}

}  // namespace
