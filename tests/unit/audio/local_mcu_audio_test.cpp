// The audio part of the local MCU: channels, sinks that come and go, and the way of a frame to them.
#include "audio_scene.h"

#include "link/bounds/limits.h"

#include <gtest/gtest.h>

using namespace audio_scene;

namespace {

class LocalMcuAudio : public testing::Test, protected CScene {};

TEST_F(LocalMcuAudio, ARepeatedConnectIsAcknowledgedAgainAndMakesNoSecondSink) {
    const std::string request = Hex("0000") + U32(5) + U32(77) + U32(9);
    host.Deliver(request);
    const auto first = host.TakeSent();
    ASSERT_EQ(first.size(), 2U);
    EXPECT_EQ(first[0].bytes, first[1].bytes);
    EXPECT_EQ(first[0].bytes.substr(0, 6), Hex("0001") + U32(5));
    EXPECT_EQ(first[0].bytes.size(), 10U);
    host.Deliver(request, 99, 99);
    const auto second = host.TakeSent();
    ASSERT_EQ(second.size(), 2U);
    EXPECT_EQ(second[1].bytes, first[0].bytes);
    EXPECT_EQ(second[1].ip, CTestHost::kPeerIP) << "to where it first asked from";
    EXPECT_EQ(channel->GetAudioSinkCount(), 1U);
    for (CAudioSink& sink : GetLocalMCUAudio()->Tables().sinks.Each()) EXPECT_EQ(sink.GetUserID(), 9U);

    EXPECT_EQ(ConnectSink(7, 78), 0U);
    host.Deliver(Hex("0000") + U32(7) + U32(77) + std::string(18, '\0'));  // the servers' form
    for (const char* ignored : {"0012", "0019", "0015", "0017", "0018"}) host.Deliver(Hex(ignored) + U32(77) + U32(1));
    EXPECT_TRUE(host.TakeSent().empty());
    EXPECT_EQ(channel->GetAudioSinkCount(), 1U);
}

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

TEST_F(LocalMcuAudio, SilentSinksGoWithTheSweepUnlessTheClockWentBack) {
    const uint32_t kept = ConnectSink(5);
    ConnectSink(6);
    host.clock.Advance(180000);
    host.Deliver(Hex("0006") + U32(kept));  // each of connect, start and stop is a sign of life
    host.manager->RunTurn();
    EXPECT_EQ(channel->GetAudioSinkCount(), 2U) << "not more than 180 s yet";
    host.clock.Advance(1001);
    host.manager->RunTurn();
    EXPECT_EQ(channel->GetAudioSinkCount(), 1U);
    host.clock.Advance(179000);
    host.clock.Set(host.clock.Now() - 300000);
    host.manager->RunTurn();
    GetLocalMCUAudio()->OnTimer();
    host.clock.Advance(180000);
    GetLocalMCUAudio()->OnTimer();
    EXPECT_EQ(channel->GetAudioSinkCount(), 1U);
    host.clock.Advance(1);
    GetLocalMCUAudio()->OnTimer();
    EXPECT_EQ(channel->GetAudioSinkCount(), 0U);
    EXPECT_TRUE(channel->IsEmpty());
}

TEST_F(LocalMcuAudio, ChannelsComeAndGoWithTheirOwnSinksOnly) {
    EXPECT_FALSE(channel->IsEmpty()) << "never had one";
    EXPECT_FALSE(channel->IsDirty());
    CAudioChannel other(78);
    const CAudioChannel random(0);
    EXPECT_NE(const_cast<CAudioChannel&>(random).GetAudioChannelID(), 0U);
    ConnectSink(5);
    ConnectSink(5, 78);
    channel->ReleaseConnections();
    EXPECT_EQ(channel->GetAudioSinkCount(), 0U);
    EXPECT_TRUE(channel->IsEmpty());
    EXPECT_EQ(other.GetAudioSinkCount(), 1U);
    EXPECT_EQ(ConnectSink(6), 0U) << "no longer to be found";
    auto again = std::make_unique<CAudioChannel>(77);
    channel.reset();
    EXPECT_NE(ConnectSink(6), 0U) << "another took its ID before it went";
    auto third = std::make_unique<CAudioChannel>(77);
    EXPECT_NE(ConnectSink(8), 0U);
    again->ReleaseConnections();
    EXPECT_EQ(GetLocalMCUAudio()->Tables().sinks.Size(), 2U) << "its sink goes with it and not with the ID";
    EXPECT_NE(ConnectSink(9), 0U) << "and its successor stays";
    again.reset();
    EXPECT_EQ(third->GetAudioSinkCount(), 2U);
    third->ReleaseConnections();
    EXPECT_EQ(ConnectSink(7), 0U);
    EXPECT_EQ(GetLocalMCUAudio()->Tables().sinks.Size(), 1U);
}

TEST_F(LocalMcuAudio, TheLocalMcuDeletesTheChannelsThatAreLeft) {
    class CCounted : public CAudioChannel {
    public:
        CCounted(unsigned long id, int& gone) : CAudioChannel(id), m_nGone(gone) {}
        ~CCounted() override { ++m_nGone; }

    private:
        int& m_nGone;
    };
    int gone = 0;
    new CCounted(90, gone);
    new CCounted(91, gone);
    ConnectSink(5, 90);
    channel.reset();
    host.Release();
    EXPECT_EQ(gone, 2);
    EXPECT_EQ(CreateAudioSenderUDP(notify, 90, 1, 0, 0, 7000), nullptr) << "without a local MCU";
    EXPECT_EQ(CreateAudioReceiverUDP(notify, 90, 1, 0, 0, 7000, 0, 0, 0, 0, 1), nullptr);
    EXPECT_EQ(CreateAudioReceiverP2P(notify, 90, 1), nullptr);
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
