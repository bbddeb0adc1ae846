// The log lines of audio and video: what comes and goes, and nothing of the media's own.
#include "log_scene.h"

#include "lumomedia/audio.h"
#include "lumomedia/video.h"
#include "support/session_wire.h"

#include <gtest/gtest.h>

using namespace log_lines;

namespace {

class CListener final : public IAudioSenderNotify,
                        public IAudioReceiverNotify,
                        public IVideoSenderNotify,
                        public IVideoReceiverNotify {
public:
    void OnConnected(unsigned long) override {}
    void OnAudioData(const char*, int) override {}
    void OnVideoData(const char*, int) override {}
    void OnKeyFrameRequest() override {}
};

struct StreamRow {
    const char* name;
    std::string datagram;
    std::vector<int> answers;
};

/// Delivers each row's datagram; it logs what came and what was answered.
void ExpectDatagramsAlone(CScene& scene, int kind, const char* word, const std::vector<StreamRow>& rows) {
    for (const StreamRow& row : rows) {
        Lines rest;
        for (const int length : row.answers) rest.push_back(Sent(length));
        EXPECT_EQ(scene.Of([&] { scene.host.Deliver(row.datagram); }), Received(kind, row.datagram.size(), word, rest))
            << row.name;
    }
}

/// Makes a sender and a receiver, and releases them, around the rows that `rows` gives for their IDs and a sink's.
template <class TChannel, class MakeSender, class MakeReceiver, class MakeRows>
void RunStream(int kind, const char* word, const char* connect, MakeSender makeSender, MakeReceiver makeReceiver,
               MakeRows rows) {
    CScene scene;
    CListener app;
    TChannel channel(77);
    const auto last = [&](size_t offset) { return U32(scene.LastID(offset)); };
    scene.host.TakeSent();
    decltype(makeSender(app)) sender = nullptr;
    EXPECT_EQ(scene.Of([&] { sender = makeSender(app); }), Lines{Sent(10)});
    const std::string key = last(6);
    decltype(makeReceiver(app)) receiver = nullptr;
    EXPECT_EQ(scene.Of([&] { receiver = makeReceiver(app); }), Lines{Sent(28)});
    const std::string id = last(2);
    scene.host.Deliver(Hex(connect) + U32(6) + U32(77) + U32(1));
    ExpectDatagramsAlone(scene, kind, word, rows(key, id, last(6)));
    EXPECT_EQ(scene.Of([&] { receiver->ReleaseConnections(); }), (Lines(3, Sent(6))));
    EXPECT_EQ(scene.Of([&] { sender->ReleaseConnections(); }), (Lines(3, Sent(6))));
    EXPECT_EQ(scene.Of([&] { channel.ReleaseConnections(); }), Lines{});
    scene.app.ReleaseConnections();
}

TEST(LogLines, AudioLogsDatagramsAlone) {
    RunStream<CAudioChannel>(
        0, "UDP_AUDIO", "0000",
        [](CListener& app) { return CreateAudioSenderUDP(app, 77, CTestHost::kPeerIP, 0, 0, 7001); },
        [](CListener& app) { return CreateAudioReceiverUDP(app, 77, CTestHost::kPeerIP, 0, 0, 7001, 0, 0, 0, 0, 1); },
        [](const std::string& key, const std::string& id, const std::string& sink) {
            return std::vector<StreamRow>{
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
        });
}

TEST(LogLines, VideoLogsDatagramsAlone) {
    RunStream<CVideoChannel>(
        1, "UDP_VIDEO", "0109",
        [](CListener& app) { return CreateVideoSenderUDP(app, 77, CTestHost::kPeerIP, 0, 0, 7001); },
        [](CListener& app) { return CreateVideoReceiverUDP(app, 77, CTestHost::kPeerIP, 0, 0, 7001, 0, 0, 0, 0, 1); },
        [](const std::string& key, const std::string& id, const std::string& sink) {
            const std::string request = session_wire::Data(0, std::string(1, '\0'));
            return std::vector<StreamRow>{
                {"sink connect", Hex("0109") + U32(5) + U32(77) + U32(1), {10, 10}},
                {"unknown channel", Hex("0109") + U32(5) + U32(78) + U32(1), {}},
                {"sink start", Hex("010b") + sink, {10}},
                {"key frame request", Hex("0110") + sink + request, {22}},
                {"sink stop", Hex("010d") + sink, {10}},
                {"sink disconnect", Hex("0111") + sink, {}},
                {"unknown sink", Hex("0110") + sink + request, {}},
                {"unknown command", Hex("0124") + sink, {}},
                {"sender connected", Hex("011c") + key + U32(500) + U32(0), {}},
                {"sender start", Hex("011d") + key + U32(1), {6}},
                {"server's key frame request", Hex("0122") + key + request, {18}},
                {"sender stop", Hex("011f") + key, {6}},
                {"receiver connected", Hex("010a") + id + U32(600), {6, 6}},
                {"receiver started", Hex("010c") + id + U32(600), {}},
                {"receiver stopped", Hex("010e") + id + U32(600), {}},
                {"packet", Hex("010f") + id + U32(600) + session_wire::Data(0, "frame"), {18}},
            };
        });
}

}  // namespace
