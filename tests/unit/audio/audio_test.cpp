// Audio, where it is not as other media: which frames go to whom, and what is counted.
#include "audio/local_mcu_audio.h"

#include "audio/audio_sink.h"
#include "link/process/link_registry.h"
#include "lumomedia/audio.h"
#include "support/medium_scene.h"

namespace {

class Audio : public testing::Test, protected CMediumScene {
protected:
    Audio() : CMediumScene(kAudio) {}
    void Start(uint32_t sink, uint32_t ip = CTestHost::kPeerIP) { host.Deliver(Say(Row().sink.keepAlive, {sink}), ip); }
    /// How many hear it.
    size_t HeardBy(const std::string& frame) {
        host.TakeSent();
        app->Write(frame);
        return host.TakeSent().size();
    }

    CAudioChannel& channel = app->As<CAudioChannel>();
};

TEST_F(Audio, FramesGoToThoseWhoWantThemAndOnlyAtTheirLengths) {
    const uint32_t first = ConnectSink(5), second = ConnectSink(6);
    EXPECT_EQ(HeardBy("early"), 0U) << "nobody has started";
    EXPECT_FALSE(channel.HasStartedAudioSink());
    Start(first);
    EXPECT_TRUE(channel.HasStartedAudioSink());
    for (const size_t length : {0U, 1U, 2U, 3U, 160U, 1065U, 1066U, 1067U, 1076U, 70000U})
        EXPECT_EQ(HeardBy(std::string(length, 'x')), length < 3 || length > 1066 ? 0U : 1U) << length;
    GetLocalMCUAudio()->Tables().sinks.With(first, [](CAudioSink& sink) {
        const std::string frame(1067, 'x');
        sink.OnAudioChannelData(frame.data(), 1067);
        sink.OnAudioChannelData(nullptr, 160);
    });
    EXPECT_TRUE(host.TakeSent().empty()) << "given past the channel";
    Start(second);
    EXPECT_EQ(HeardBy("both"), 2U);
    host.Deliver(Say(Row().sink.stop, {first}));
    EXPECT_EQ(HeardBy("one"), 1U);
    host.Deliver(Say(Row().sink.disconnect, {second}));
    EXPECT_EQ(HeardBy("none"), 0U);
}

TEST_F(Audio, AFanOutIsOneBatchInTheOrderOfTheSinkIDs) {
    for (uint32_t receiver = 1; receiver <= 20; ++receiver) ValidatedSink(receiver);
    app->Write("frame");
    uint32_t last = 0;
    for (const CSentDatagram& one : host.net.Udp().sent) {
        const uint32_t sink = session_wire::ReadU32(one.bytes, 6);
        EXPECT_LT(std::exchange(last, sink), sink);
        EXPECT_EQ(one.batchDepth, 1);
    }
    EXPECT_EQ(host.TakeSent().size(), 20U);
    EXPECT_EQ(host.net.Udp().batchDepth, 0);
}

TEST_F(Audio, OneStartedFromElsewhereHearsASecond) {
    const uint32_t sink = ConnectSink(5);
    Start(sink, 99);
    EXPECT_EQ(HeardBy("frame"), 1U);
    host.clock.Advance(1001);
    EXPECT_EQ(HeardBy("frame"), 0U);
    Start(sink);
    EXPECT_EQ(HeardBy("frame"), 1U);
}

// Where the way to the listeners takes more than half of the time, those at the address that has most make room.
TEST_F(Audio, OnASlowHostACrowdAtOneAddressHearsEveryOtherFrame) {
    for (uint32_t id = 1; id <= 260; ++id) ValidatedSink(id, kChannelID, CTestHost::kPeerIP + (id <= 10 ? 1 : 0));
    const auto passASecond = [](int64_t busyUs) {
        GetLocalMCUAudio()->Thinning().NoteBusy(busyUs);
        GetLocalMCUAudio()->OnTimer();
    };
    EXPECT_EQ(HeardBy("all"), 260U);
    passASecond(510000);
    const uint64_t dropped = LinkRegistry().FramesDropped();
    EXPECT_EQ(HeardBy("one") + HeardBy("two"), 2 * 10U + 250U);
    EXPECT_EQ(LinkRegistry().FramesDropped() - dropped, 250U);
    passASecond(0);
    EXPECT_EQ(HeardBy("all"), 260U);
}

TEST_F(Audio, TheListenerThatHasFewestFramesWaitingCounts) {
    const auto connected = [&](unsigned long queued) {
        CMade sender = app->Sender(true, kServer);
        Arrive(host.net.LastClient(), std::string(1, Row().tcp.start));
        host.net.LastClient().queued = queued;
        return sender;
    };
    EXPECT_EQ(app->Buffering(), 0U);
    const CMade slow = connected(9000);
    EXPECT_EQ(app->Buffering(), 8192U);
    const CMade five = connected(5), three = connected(3);
    EXPECT_EQ(app->Buffering(), 3U);
    three.SetEnable(false);
    EXPECT_EQ(app->Buffering(), 5U) << "who wants nothing does not count";
    const uint32_t sink = ConnectSink(5);
    EXPECT_EQ(app->Buffering(), 5U);
    Start(sink);
    EXPECT_EQ(app->Buffering(), 0U);
}

TEST_F(Audio, SendersCountTheFramesThatWereWanted) {
    const CMade made = app->Sender(false, kServer), overTcp = app->Sender(true, kServer);
    auto& sender = made.As<IAudioSender>();
    const uint32_t key = SentID(6);
    FromServer(Say(Row().source.keepAlive, {key, 4}));
    app->Write("not connected");
    EXPECT_EQ(sender.GetSentFrameCount(), 0U);
    FromServer(Say(Row().source.connectAck, {key, kSourceID, 0}));
    FromServer(Say(Row().source.keepAlive, {key, 3}));
    EXPECT_EQ(sender.GetStartParam(), 3U);
    EXPECT_EQ(HeardBy("22") + HeardBy("333"), 1U);
    EXPECT_EQ(sender.GetSentFrameCount(), 2U) << "the short one counts and does not go";
    FromServer(Say(Row().source.stop, {key}));
    app->Write("stopped");
    EXPECT_EQ(sender.GetSentFrameCount(), 2U);
    Arrive(host.net.LastClient(), std::string(1, Row().tcp.start));
    app->Write("x");
    EXPECT_EQ(overTcp.As<IAudioSender>().GetSentFrameCount(), 1U);
    EXPECT_EQ(overTcp.As<IAudioSender>().GetStartParam(), 0U);
    EXPECT_EQ(host.net.LastClient().maxAge, 1000U) << "what waits longer is dropped";
}

}  // namespace
