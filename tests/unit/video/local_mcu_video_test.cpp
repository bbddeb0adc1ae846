// The video part of the local MCU: channels, sinks that come and go, and the way of a frame to them.
#include "video_scene.h"

#include "link/bounds/limits.h"
#include "video/video_sink.h"

#include <gtest/gtest.h>

using namespace video_scene;

namespace {

class LocalMcuVideo : public testing::Test, protected CScene {
protected:
    void Start(uint32_t sink) { host.Deliver(Hex("010b") + U32(sink)); }
    void Stop(uint32_t sink) { host.Deliver(Hex("010d") + U32(sink)); }
    void FromReceiver(uint32_t sink, const std::string& packet) { host.Deliver(Hex("0110") + U32(sink) + packet); }
};

TEST_F(LocalMcuVideo, ARepeatedConnectIsAcknowledgedAgainAndMakesNoSecondSink) {
    const std::string request = Hex("0109") + U32(5) + U32(77) + U32(9);
    host.Deliver(request);
    const auto first = host.TakeSent();
    ASSERT_EQ(first.size(), 2U);
    EXPECT_EQ(first[0].bytes, first[1].bytes);
    EXPECT_EQ(first[0].bytes.substr(0, 6), Hex("010a") + U32(5));
    EXPECT_EQ(first[0].bytes.size(), 10U);
    host.Deliver(request, 99, 99);
    EXPECT_EQ(host.TakeSentHex(), std::vector<std::string>(2, ToHex(first[0].bytes)));
    EXPECT_EQ(channel->GetVideoSinkCount(), 1U);

    EXPECT_EQ(ConnectSink(7, 78), 0U);
    host.Deliver(Hex("0109") + U32(7) + U32(77) + std::string(18, '\0'));  // the servers' form
    for (const char* ignored : {"011b", "0121", "011e", "0120", "0123", "0100", "0112"})
        host.Deliver(Hex(ignored) + U32(77) + U32(1) + std::string(12, '\0'));
    EXPECT_TRUE(host.TakeSent().empty());
    EXPECT_EQ(channel->GetVideoSinkCount(), 1U);
}

TEST_F(LocalMcuVideo, FramesGoInSessionPacketsToThoseWhoWantThem) {
    const uint32_t sink = ConnectSink(5);
    Write(Key(100));
    EXPECT_TRUE(host.TakeSent().empty()) << "nobody has started";
    Start(sink);
    EXPECT_EQ(host.TakeSentHex(), std::vector<std::string>{ToHex(Hex("010c") + U32(5) + U32(sink))});
    for (const size_t length : {0U, 1U, 2U, 3U}) Write(Key(length));
    channel->OnVideoChannelData(nullptr, 100);
    EXPECT_TRUE(host.TakeSent().empty());
    Write(Key(4));
    const std::string head = Hex("010f") + U32(5) + U32(sink);
    EXPECT_EQ(host.TakeSentHex(), std::vector<std::string>{ToHex(head + Data(0, Key(4)))});
    Write(Delta(2000));
    EXPECT_TRUE(host.TakeSent().empty()) << "one frame is in flight at a time";
    EXPECT_EQ(channel->GetBufferingFrameCount(), 1U);
    host.Run(200);
    EXPECT_EQ(host.TakeSentHex(), std::vector<std::string>{ToHex(head + Data(0, Key(4)))})
        << "what is not acknowledged again";
    FromReceiver(sink, Ack(0));
    const auto next = host.TakeSent();
    ASSERT_EQ(next.size(), 2U) << "and the next one as soon as it is";
    EXPECT_EQ(next[1].bytes.size(), 10U + 12U + 960U);
    Stop(sink);
    EXPECT_EQ(host.TakeSentHex(), std::vector<std::string>{ToHex(Hex("010e") + U32(5) + U32(sink))});
    Write(Key(4));
    EXPECT_EQ(channel->GetBufferingFrameCount(), 0U);
    host.Deliver(Hex("0111") + U32(sink));
    EXPECT_EQ(channel->GetVideoSinkCount(), 0U);
}

TEST_F(LocalMcuVideo, AKeyFrameTakesThePlaceOfMoreThanTenFrames) {
    const std::pair<int, unsigned long> rows[] = {{0, 1}, {9, 10}, {10, 11}, {11, 1}, {12, 1}, {100, 1}};
    uint32_t receiver = 1;
    for (const auto& [waiting, after] : rows) {
        const uint32_t sink = StartedSink(receiver++);
        for (int i = 0; i < waiting + 1; ++i) Write(Delta(10));  // the first is in the session
        EXPECT_EQ(channel->GetBufferingFrameCount(), static_cast<unsigned long>(waiting));
        Write(Key(10));
        EXPECT_EQ(channel->GetBufferingFrameCount(), after) << waiting;
        host.Deliver(Hex("0111") + U32(sink));
    }
}

TEST_F(LocalMcuVideo, AReceiverThatNeverAcknowledgesCostsLittle) {
    StartedSink(5);
    unsigned long most = 0;
    for (int i = 0; i < 3000; ++i) {
        Write(i % 30 == 0 ? Key(40 << 10) : Delta(4 << 10));
        host.Run(33, 33);
        most = std::max(most, channel->GetBufferingFrameCount());
    }
    EXPECT_EQ(most, 30U);
    EXPECT_LT(host.TakeSent().size(), 3000U * 4U);
}

TEST_F(LocalMcuVideo, WithoutAKeyFrameOneThatNeverAcknowledgesIsLetGo) {
    const uint32_t keepsUp = StartedSink(1);
    Stop(keepsUp);
    for (uint32_t receiver = 2; receiver <= 1000; ++receiver) StartedSink(receiver);
    GetLocalMCUVideo()->OnTimer();
    for (int i = 0; i < 100; ++i) Write(Delta(64 << 10));
    EXPECT_LE(channel->GetBufferingFrameCount(), (limits::kSinkMemory / 1000 >> 16) + 2) << "its quota of the memory";
    GetLocalMCUVideo()->OnTimer();
    EXPECT_EQ(channel->GetVideoSinkCount(), 1000U) << "a key frame may yet come";
    host.clock.Advance(10001);
    GetLocalMCUVideo()->OnTimer();
    EXPECT_EQ(channel->GetVideoSinkCount(), 1U);
}

TEST_F(LocalMcuVideo, WhoNeedsAKeyFrameSaysSoOnce) {
    EXPECT_FALSE(channel->HasKeyFrameRequest());
    const uint32_t sink = ConnectSink(5);
    EXPECT_FALSE(channel->HasKeyFrameRequest());
    Start(sink);
    Start(sink);
    EXPECT_TRUE(channel->HasKeyFrameRequest());
    EXPECT_FALSE(channel->HasKeyFrameRequest());
    Start(sink);
    EXPECT_FALSE(channel->HasKeyFrameRequest()) << "it had started already";
    Stop(sink);
    Start(sink);
    EXPECT_TRUE(channel->HasKeyFrameRequest());
    const std::string zero(1, '\0');
    const std::pair<std::string, bool> frames[] = {
        {zero, true}, {"\1", false}, {zero + zero, false}, {Delta(5000).substr(0, 1000), false}, {zero, true}};
    uint16_t sequence = 0;
    for (const auto& [frame, asks] : frames) {
        FromReceiver(sink, Data(sequence++, frame));
        EXPECT_EQ(channel->HasKeyFrameRequest(), asks) << sequence;
    }
    StartedSink(6);
    FromReceiver(sink, Data(sequence, zero));
    EXPECT_TRUE(channel->HasKeyFrameRequest());
    EXPECT_TRUE(channel->HasKeyFrameRequest()) << "one flag a call";
    EXPECT_FALSE(channel->HasKeyFrameRequest());
}

TEST_F(LocalMcuVideo, SilentSinksGoWithTheSweepAndTheirAcknowledgementsAreSignsOfLife) {
    const uint32_t sink = StartedSink(5);
    ConnectSink(6);
    host.clock.Advance(180000);
    FromReceiver(sink, Ack(0));
    host.clock.Advance(1001);
    host.manager->RunTurn();
    EXPECT_EQ(channel->GetVideoSinkCount(), 1U);
}

TEST_F(LocalMcuVideo, TheLocalMcuDeletesTheChannelsThatAreLeft) {
    class CCounted : public CVideoChannel {
    public:
        CCounted(unsigned long id, int& gone) : CVideoChannel(id), m_nGone(gone) {}
        ~CCounted() override { ++m_nGone; }

    private:
        int& m_nGone;
    };
    int gone = 0;
    auto replaced = std::make_unique<CVideoChannel>(90);
    new CCounted(90, gone);
    replaced->ReleaseConnections();
    EXPECT_NE(ConnectSink(5, 90), 0U) << "its successor stays";
    channel.reset();
    host.Release();
    EXPECT_EQ(gone, 1);
    EXPECT_EQ(CreateVideoSenderUDP(notify, 90, 1, 0, 0, 7000), nullptr) << "without a local MCU";
    EXPECT_EQ(CreateVideoReceiverUDP(notify, 90, 1, 0, 0, 7000, 0, 0, 0, 0, 1), nullptr);
    EXPECT_EQ(CreateVideoReceiverP2P(notify, 90, 1), nullptr);
}

}  // namespace
