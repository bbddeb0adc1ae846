// The audio part of the local MCU: the way of a frame to the sinks that want it.
#include "audio_scene.h"

#include <gtest/gtest.h>

using namespace audio_scene;

namespace {

class LocalMcuAudio : public testing::Test, protected CScene {};

TEST_F(LocalMcuAudio, FramesGoToThoseWhoWantThemAndOnlyAtTheirLengths) {
    const uint32_t first = ConnectSink(5);
    const uint32_t second = ConnectSink(6);
    Write("early");
    EXPECT_TRUE(host.TakeSent().empty()) << "nobody has started";
    EXPECT_FALSE(channel->HasStartedAudioSink());
    host.Deliver(Hex("0004") + U32(first));
    EXPECT_EQ(host.TakeSentHex(), std::vector<std::string>{ToHex(Hex("0005") + U32(5) + U32(first))});
    EXPECT_TRUE(channel->HasStartedAudioSink());
    for (const size_t length : {0U, 1U, 2U, 3U, 160U, 1065U, 1066U, 1067U, 1076U, 70000U}) {
        const std::string frame(length, 'x');
        Write(frame);
        const auto sent = host.TakeSent();
        if (length < 3 || length > 1066) {
            EXPECT_TRUE(sent.empty()) << length;
            continue;
        }
        ASSERT_EQ(sent.size(), 1U) << length;
        EXPECT_EQ(sent[0].bytes, Hex("0002") + U32(5) + U32(first) + frame);
    }
    GetLocalMCUAudio()->Tables().sinks.With(first, [](CAudioSink& sink) {
        const std::string frame(1067, 'x');
        sink.OnAudioChannelData(frame.data(), 1067);
        sink.OnAudioChannelData(nullptr, 160);
    });
    EXPECT_TRUE(host.TakeSent().empty()) << "given past the channel";
    host.Deliver(Hex("0004") + U32(second));
    host.TakeSent();
    Write("both");
    EXPECT_EQ(host.TakeSent().size(), 2U);
    host.Deliver(Hex("0006") + U32(first));
    EXPECT_EQ(host.TakeSentHex(), std::vector<std::string>{ToHex(Hex("0007") + U32(5) + U32(first))});
    Write("one");
    EXPECT_EQ(host.TakeSent().size(), 1U);
    host.Deliver(Hex("0008") + U32(second));
    Write("none");
    EXPECT_TRUE(host.TakeSent().empty());
    EXPECT_EQ(channel->GetAudioSinkCount(), 1U);
}

TEST_F(LocalMcuAudio, AFanOutIsOneBatchInTheOrderOfTheSinkIDs) {
    class CWatched : public CAudioSink {
    public:
        CWatched(CAudioChannel& channel, CTestHost& host) : CAudioSink(channel, 0), m_host(host) {}
        void OnAudioChannelData(const char*, int) override { depth = m_host.net.Udp().batchDepth; }
        bool IsDisconnected() override { return false; }
        unsigned long GetBufferingFrameCount() override { return 0; }
        int depth = 0;

    private:
        CTestHost& m_host;
    };
    CWatched watched(*channel, host);
    watched.Join();
    for (uint32_t receiver = 1; receiver <= 20; ++receiver) {
        host.Deliver(Hex("0004") + U32(ConnectSink(receiver)));
    }
    host.TakeSent();
    Write("frame");
    const auto sent = host.TakeSent();
    ASSERT_EQ(sent.size(), 20U);
    for (size_t i = 1; i < sent.size(); ++i) EXPECT_LT(ReadU32(sent[i - 1].bytes, 6), ReadU32(sent[i].bytes, 6));
    EXPECT_EQ(watched.depth, 1);
    EXPECT_EQ(host.net.Udp().batchDepth, 0);
    watched.ReleaseConnections();
}

TEST_F(LocalMcuAudio, AChannelSaysWhatItIs) {
    EXPECT_FALSE(channel->IsEmpty()) << "never had a sink";
    EXPECT_FALSE(channel->IsDirty());
    CAudioChannel random(0);
    EXPECT_NE(random.GetAudioChannelID(), 0U);
    ConnectSink(5);
    for (CAudioSink& sink : GetLocalMCUAudio()->Tables().sinks.Each()) EXPECT_EQ(sink.GetUserID(), 9U);
    GetLocalMCUAudio()->Tables().EndAllSinks();
    EXPECT_TRUE(channel->IsEmpty());
}

TEST_F(LocalMcuAudio, OneStartedFromElsewhereHearsASecond) {
    const uint32_t sink = ConnectSink(5);
    host.Deliver(Hex("0004") + U32(sink), 99, 99);
    const auto hears = [&] {
        host.TakeSent();
        channel->OnAudioChannelData("frame", 5);
        return !host.TakeSent().empty();
    };
    EXPECT_TRUE(hears());
    host.clock.Advance(1001);
    EXPECT_FALSE(hears());
    host.Deliver(Hex("0004") + U32(sink));
    EXPECT_TRUE(hears());
}

TEST_F(LocalMcuAudio, TheListenerThatHasFewestFramesWaitingCounts) {
    const auto connected = [&](unsigned long queued) {
        IAudioSender* sender = CreateAudioSenderTCP(notify, 77, 10, 0, 0, 7000, 0, "", 0, "", "");
        CFakeTcp& client = host.net.LastClient();
        client.clientNotify->OnTcpClientNotifyReceivedFrame("\0", 1);
        client.queued = queued;
        return sender;
    };
    EXPECT_EQ(channel->GetBufferingFrameCount(), 0U);
    IAudioSender* slow = connected(9000);
    EXPECT_EQ(channel->GetBufferingFrameCount(), 8192U);
    IAudioSender* five = connected(5);
    IAudioSender* three = connected(3);
    EXPECT_EQ(channel->GetBufferingFrameCount(), 3U);
    three->SetEnable(false);
    EXPECT_EQ(channel->GetBufferingFrameCount(), 5U) << "who wants nothing does not count";
    const uint32_t sink = ConnectSink(5);
    EXPECT_EQ(channel->GetBufferingFrameCount(), 5U);
    host.Deliver(Hex("0004") + U32(sink));
    EXPECT_EQ(channel->GetBufferingFrameCount(), 0U);
    for (IAudioSender* sender : {slow, five, three}) sender->ReleaseConnections();
}

}  // namespace
