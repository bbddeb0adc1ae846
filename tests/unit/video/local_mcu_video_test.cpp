// The video part of the local MCU: the way of a frame to the sinks that want it, and who is asked for key frames.
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

}  // namespace
