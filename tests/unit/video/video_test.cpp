// Video, where it is not as other media: key frames, asked for and sent, and the window.
#include "video/local_mcu_video.h"

#include "link/bounds/limits.h"
#include "lumomedia/video.h"
#include "support/medium_scene.h"

using session_wire::Ack;
using session_wire::Data;
using session_wire::U32;

namespace {

const std::string kZero(1, '\0');  // asks for a key frame

/// `length` bytes: a key frame, or one that is none.
std::string Key(size_t length) { return std::string(length, 'K'); }
std::string Delta(size_t length) { return std::string(length, '\0'); }

class Video : public testing::Test, protected CMediumScene {
protected:
    Video() : CMediumScene(kVideo) {}
    void Up(uint32_t sink, const std::string& packet) { host.Deliver(Say(Row().sink.frameAck, {sink}, packet)); }
    void WriteDeltas(int count, size_t length = 10) {
        for (int i = 0; i < count; ++i) app->Write(Delta(length));
    }

    CVideoChannel& channel = app->As<CVideoChannel>();
};

TEST_F(Video, AKeyFrameTakesThePlaceOfMoreThanTenFrames) {
    const std::pair<int, uint32_t> rows[] = {{0, 1}, {9, 10}, {10, 11}, {11, 1}, {12, 1}, {100, 1}};
    uint32_t receiver = 1;
    for (const auto& [waiting, after] : rows) {
        const uint32_t sink = ValidatedSink(receiver++);
        channel.OnVideoChannelData(nullptr, 100);
        WriteDeltas(waiting + 1);  // the first is in the session
        EXPECT_EQ(app->Buffering(), static_cast<uint32_t>(waiting));
        app->Write(Key(10));
        EXPECT_EQ(app->Buffering(), after) << waiting;
        host.Deliver(Say(Row().sink.disconnect, {sink}));
    }
}

TEST_F(Video, WithoutAKeyFrameOneThatNeverAcknowledgesIsLetGo) {
    host.Deliver(Say(Row().sink.stop, {ValidatedSink(1)}));  // it keeps up
    for (uint32_t receiver = 2; receiver <= 1000; ++receiver) ValidatedSink(receiver);
    GetLocalMCUVideo()->OnTimer();
    WriteDeltas(100, 64 << 10);
    EXPECT_LE(app->Buffering(), (limits::kSinkMemory / 1000 >> 16) + 2) << "its quota of the memory";
    GetLocalMCUVideo()->OnTimer();
    EXPECT_EQ(app->SinkCount(), 1000U) << "a key frame may yet come";
    host.clock.Advance(10001);
    GetLocalMCUVideo()->OnTimer();
    EXPECT_EQ(app->SinkCount(), 1U);
}

TEST_F(Video, WhoNeedsAKeyFrameSaysSoOnce) {
    EXPECT_FALSE(channel.HasKeyFrameRequest());
    const uint32_t sink = ConnectSink(5);
    EXPECT_FALSE(channel.HasKeyFrameRequest());
    const auto start = [&] { host.Deliver(Say(Row().sink.keepAlive, {sink})); };
    start();
    start();
    EXPECT_TRUE(channel.HasKeyFrameRequest());
    EXPECT_FALSE(channel.HasKeyFrameRequest());
    start();
    EXPECT_FALSE(channel.HasKeyFrameRequest()) << "it had started already";
    host.Deliver(Say(Row().sink.stop, {sink}));
    start();
    EXPECT_TRUE(channel.HasKeyFrameRequest());
    const std::pair<std::string, bool> frames[] = {
        {kZero, true}, {"\1", false}, {kZero + kZero, false}, {Delta(1000), false}, {kZero, true}};
    uint16_t sequence = 0;
    for (const auto& [frame, asks] : frames) {
        Up(sink, Data(sequence++, frame));
        EXPECT_EQ(channel.HasKeyFrameRequest(), asks) << sequence;
    }
    ValidatedSink(6);
    Up(sink, Data(sequence, kZero));
    EXPECT_TRUE(channel.HasKeyFrameRequest());
    EXPECT_TRUE(channel.HasKeyFrameRequest()) << "one flag a call";
    EXPECT_FALSE(channel.HasKeyFrameRequest());
}

TEST_F(Video, OverUdpASendersRequestsArriveAndKeyFramesClearTheWay) {
    const CMade sender = app->Sender(false, kServer);
    const uint32_t key = SentID(6);
    FromServer(Say(Row().source.connectAck, {key, kSourceID, 0}));
    FromServer(Say(Row().source.keepAlive, {key, 3}));
    EXPECT_EQ(sender.As<IVideoSender>().GetStartParam(), 3U);
    app->Write(Key(4));
    const auto down = [&](const std::string& packet) { FromServer(Say(Row().source.frameAck, {key}, packet)); };
    uint16_t sequence = 0;
    for (const std::string& frame : {kZero, std::string("\1"), kZero + kZero, std::string("\6")})
        down(Data(sequence++, frame));
    EXPECT_EQ(app->delivered, std::vector<std::string>{CMediumApp::kKeyFrameRequest});
    host.TakeSent();
    WriteDeltas(10);
    app->Write(Key(4));
    EXPECT_EQ(app->Buffering(), 11U) << "ten wait";
    app->Write(Key(4));
    EXPECT_EQ(app->Buffering(), 1U) << "eleven wait";
    down(Ack(0));
    ExpectSentToServer(Say(Row().source.frame, {kSourceID}, Data(1, Key(4))), 1);
    EXPECT_FALSE(channel.HasKeyFrameRequest()) << "those of servers come otherwise";
}

TEST_F(Video, OverTcpASendersFramesAreNumberedAndKeyFramesClearTheWay) {
    const CMade sender = app->Sender(true, kServer);
    CFakeTcp& client = host.net.LastClient();
    Arrive(client, "\x06");
    Arrive(client, "\x06\x06");
    EXPECT_EQ(app->delivered.size(), 1U) << "a request is one byte";
    Arrive(client, "\x04");
    app->Write(Key(3));
    EXPECT_TRUE(client.TakeSent().empty());
    client.queued = 5;
    std::string frame = Delta(4) + "rest";
    channel.OnVideoChannelData(frame.data(), 8);
    EXPECT_EQ(frame, Hex("00 0000 00") + "rest") << "in the caller's own buffer";
    app->Write(Delta(4));
    EXPECT_EQ(client.queued, 5U);
    app->Write(Key(5));
    EXPECT_EQ(client.queued, 0U);
    WriteDeltas(65535, 4);
    EXPECT_EQ(client.sent.at(1).bytes, Hex("00 0001 00"));
    EXPECT_EQ(client.sent.at(2).bytes, "K" + Hex("0002") + "KK");
    EXPECT_EQ(client.sent.at(65535).bytes, Hex("00 ffff 00"));
    EXPECT_EQ(client.sent.at(65536).bytes, Hex("00 0000 00"));
}

class VideoReceiver : public Video {
protected:
    /// Acknowledged.
    VideoReceiver() {
        FromServer(Say(Row().sink.connectAck, {id, kSinkID}));
        host.TakeSent();
    }
    void Down(const std::string& packet) { FromServer(Say(Row().sink.frame, {id, kSinkID}, packet)); }

    const CMade made = app->Receiver(false, kServer);
    IVideoReceiver& receiver = made.As<IVideoReceiver>();
    const uint32_t id = SentID(2);
};

TEST_F(VideoReceiver, AsksForAKeyFrameWheneverItIsToldToAndOnlyThen) {
    const auto request = [&](uint16_t sequence) { return Say(Row().sink.frameAck, {kSinkID}, Data(sequence, kZero)); };
    receiver.RequestKeyFrame();
    ExpectSentToServer(request(0), 1);
    host.Run(5000, 50);
    EXPECT_TRUE(host.TakeSent().empty()) << "the worker does not repeat it";
    receiver.RequestKeyFrame();
    EXPECT_EQ(host.TakeSentHex(), (std::vector<std::string>{ToHex(request(0)), ToHex(request(1))}));
    Down(Ack(1));
    receiver.RequestKeyFrame();
    ExpectSentToServer(request(2), 1);
    for (int i = 0; i < 10000; ++i) receiver.RequestKeyFrame();
    LumoLinkStatistics statistics;
    ASSERT_TRUE(GetLinkStatistics(0, statistics));
    EXPECT_LE(statistics.ullFramesSent, 200U) << "unanswered questions do not pile up";
}

TEST_F(VideoReceiver, AdjustsTheWindowThatItAdvertises) {
    uint16_t sequence = 0;
    const auto advertised = [&] {
        host.TakeSent();
        Down(Data(sequence++, "any"));
        return static_cast<uint8_t>(host.TakeSent().at(0).bytes.at(6 + 3)) >> 3;
    };
    EXPECT_EQ(advertised(), 160 & 31);
    const std::pair<bool, int> rows[] = {
        {true, 160}, {false, 80}, {false, 40}, {false, 20}, {false, 16}, {true, 20},  {true, 25},  {true, 31},
        {true, 38},  {true, 47},  {true, 58},  {true, 72},  {true, 90},  {true, 112}, {true, 140}, {true, 160},
    };
    for (const auto& [increase, size] : rows) {
        receiver.AdjustWindowSize(increase);
        EXPECT_EQ(advertised(), size & 31) << size;
    }
}

TEST_F(Video, OverTcpAReceiversRequestForAKeyFrameCountsTheKeepAliveAnew) {
    const CMade receiver = app->Receiver(true, kServer);
    CFakeTcp& client = host.net.LastClient();
    Answer(client, Row().tcp.receiver, U32(kChannelID) + U32(kSinkID));
    receiver.SetEnable(false);
    for (int poll = 1; poll < 12; ++poll) EXPECT_FALSE(receiver.IsDisconnected());
    client.TakeSent();
    receiver.As<IVideoReceiver>().RequestKeyFrame();
    receiver.As<IVideoReceiver>().AdjustWindowSize(false);
    for (int poll = 1; poll <= 12; ++poll) EXPECT_FALSE(receiver.IsDisconnected());
    ASSERT_EQ(client.sent.size(), 2U);
    EXPECT_EQ(client.sent[0].bytes, "\x06");
    EXPECT_EQ(client.sent[1].bytes, "\x05") << "it is the state that is repeated";
}

}  // namespace
