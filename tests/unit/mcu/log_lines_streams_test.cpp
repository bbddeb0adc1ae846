// The log lines of audio and video: what comes and goes, and nothing of the media's own.
#include "log_scene.h"
#include "support/medium_app.h"
#include "support/medium_wire.h"

#include <gtest/gtest.h>

using namespace log_lines;

namespace {

struct StreamRow {
    const char* name;
    std::string datagram;
    std::vector<int> answers;
};

/// A host with a sender and a receiver of one medium, and a sink.
class StreamLogLines : public testing::TestWithParam<CTestMedium> {
protected:
    static constexpr uint32_t kSource = 500, kSink = 600;

    ~StreamLogLines() override { scene.app.ReleaseConnections(); }
    std::string Say(uint8_t command, std::initializer_list<uint32_t> fields, const std::string& rest = "") const {
        return Datagram(row, command, fields, rest);
    }
    /// In an order in which each is answered.
    std::vector<StreamRow> Rows(uint32_t key, uint32_t id, uint32_t sink) const {
        const std::string packet = session_wire::Data(0, std::string(1, '\0'));
        std::vector<StreamRow> rows = {
            {"sink connect", Say(row.sink.connect, {5, 77, 1}), {10, 10}},
            {"unknown channel", Say(row.sink.connect, {5, 78, 1}), {}},
            {"servers' form", Say(row.sink.connect, {}, std::string(26, '\0')), {}},
            {"sink start", Say(row.sink.keepAlive, {sink}), {10}},
            {"sink stop", Say(row.sink.stop, {sink}), {10}},
            {"unknown command", Say(0xff, {sink}), {}},
            {"too short", Say(0, {}).substr(0, 1), {}},
            {"sender connected", Say(row.source.connectAck, {key, kSource, 0}), {}},
            {"sender start", Say(row.source.keepAlive, {key, 1}), {6}},
            {"sender stop", Say(row.source.stop, {key}), {6}},
            {"receiver connected", Say(row.sink.connectAck, {id, kSink}), {6, 6}},
            {"receiver started", Say(row.sink.keepAliveAck, {id, kSink}), {}},
            {"receiver stopped", Say(row.sink.stopAck, {id, kSink}), {}},
        };
        if (row.session) {
            rows.push_back({"key frame request", Say(row.sink.frameAck, {sink}, packet), {22}});
            rows.push_back({"server's key frame request", Say(row.source.frameAck, {key}, packet), {18}});
            rows.push_back({"packet", Say(row.sink.frame, {id, kSink}, packet), {18}});
        } else {
            rows.push_back({"frame", Say(row.sink.frame, {id, kSink}, "frame"), {}});
        }
        rows.push_back({"sink disconnect", Say(row.sink.disconnect, {sink}), {}});
        rows.push_back({"unknown sink", Say(row.sink.keepAlive, {sink}), {}});
        return rows;
    }

    const CMediumRow& row = GetParam().row;
    CScene scene;
};

TEST_P(StreamLogLines, AreOfDatagramsAlone) {
    const auto app = GetParam().make(77);
    const CMcuAddress server{{CTestHost::kPeerIP, 0, 0}, CTestHost::kPeerPort};
    scene.host.TakeSent();
    CMade sender, receiver;
    EXPECT_EQ(scene.Of([&] { sender = app->Sender(false, server); }), Lines{Sent(10)});
    const uint32_t key = scene.LastID(6);
    EXPECT_EQ(scene.Of([&] { receiver = app->Receiver(false, server); }), Lines{Sent(28)});
    const uint32_t id = scene.LastID(2);
    scene.host.Deliver(Say(row.sink.connect, {6, 77, 1}));
    const int kind = static_cast<int>(row.kind);
    for (const StreamRow& one : Rows(key, id, scene.LastID(6))) {
        Lines rest;
        for (const int length : one.answers) rest.push_back(Sent(length));
        EXPECT_EQ(scene.Of([&] { scene.host.Deliver(one.datagram); }),
                  Received(kind, one.datagram.size(), kind == 0 ? "UDP_AUDIO" : "UDP_VIDEO", rest))
            << one.name;
    }
    EXPECT_EQ(scene.Of([&] { receiver.Release(); }), (Lines(3, Sent(6))));
    EXPECT_EQ(scene.Of([&] { sender.Release(); }), (Lines(3, Sent(6))));
    EXPECT_EQ(scene.Of([&] { app->ReleaseChannel(); }), Lines{});
}

INSTANTIATE_TEST_SUITE_P(Media, StreamLogLines, testing::Values(kAudio, kVideo), testing::PrintToStringParamName());

}  // namespace
