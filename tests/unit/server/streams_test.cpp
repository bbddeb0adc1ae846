// Audio and video at the server: subscribers over TCP start and stop them, and audio is never late.
#include "server_host.h"
#include "support/medium_app.h"

#include <gtest/gtest.h>

namespace {

class Streams : public testing::TestWithParam<CTestMedium>, protected CServerHost {
protected:
    Streams() : CServerHost(GetParam().row) {}
    const std::string start{row.tcp.start}, stop{row.tcp.stop};
};

TEST_P(Streams, OverTcpSubscribersSayWhatTheyWantWithControlBytes) {
    CFakeTcp* source = PublishTcp();
    CFakeTcp* sink = SubscribeTcp();
    ASSERT_TRUE(source && sink);
    EXPECT_EQ(source->TakeFrames(), Texts{stop}) << "nobody listens";
    EXPECT_EQ(sink->maxReceivedFrame, 1U << 20);
    EXPECT_EQ(source->maxReceivedFrame, row.session ? 0U : 1U << 20);
    EXPECT_EQ(sink->maxAge, row.session ? 0U : 1000U) << "audio that waits longer is dropped";
    sink->TakeSent();
    const auto passes = [&](const std::string& frame) {
        source->Hear(frame);
        return sink->TakeFrames() == Texts{frame};
    };
    EXPECT_FALSE(passes("early"));
    for (const std::string& foreign : {std::string("\2"), std::string("\7"), start + start, std::string(1 << 20, '\4')})
        sink->Hear(foreign);
    RunFor(300, 10);
    EXPECT_EQ(source->TakeFrames(), Texts()) << "what no control byte is";
    sink->Hear(start);
    RunFor(10, 10);
    Texts wanted{start};
    if (row.tcp.keyFrame != 0) wanted.emplace_back(1, row.tcp.keyFrame);
    EXPECT_EQ(source->TakeFrames(), wanted);
    EXPECT_TRUE(passes("frame"));
    EXPECT_FALSE(passes(start));
    EXPECT_EQ(passes("123"), !row.session) << "no video without a byte behind its head";
    for (int i = 0; i < 1000; ++i) sink->Hear(start);
    EXPECT_EQ(source->TakeFrames(), Texts()) << "no news";
    RunFor(12200);  // the work of a second, eleven times
    EXPECT_EQ(source->TakeFrames(), Texts{start}) << "the idle server says it again";
    source->queued = 5;
    sink->Hear(stop);
    EXPECT_EQ(source->TakeFrames(), Texts{stop});
    EXPECT_EQ(source->queued, 0U) << "one who reads nothing is not told everything that was";
    sink->Hear(start);
    RunFor(10, 10);
    source->TakeFrames();
    sink->lost = true;
    RunFor(1100);
    EXPECT_EQ(source->TakeFrames(), Texts{stop}) << "who wanted it has gone";
    EXPECT_EQ(Status().sinksTcp, 0U);
}

INSTANTIATE_TEST_SUITE_P(Media, Streams, testing::Values(kAudio, kVideo), testing::PrintToStringParamName());

class Audio : public testing::Test, protected CServerHost {
protected:
    Audio() : CServerHost(media::kAudio) {}
    size_t Heard(uint32_t source, const std::string& frame) {
        Say(row.source.frame, source, kAlice, frame);
        return TakeCount(kBob, row.sink.frame);
    }
};

TEST_F(Audio, FramesOfADatagramReachThoseWhoHaveStarted) {
    const uint32_t source = Publish(), bob = Subscribe(9, kBob);
    Connect(LongRequest(10, kChannel, {}), kCarol);
    EXPECT_EQ(Heard(source, std::string(1066, 'x')), 1U);
    EXPECT_EQ(Heard(source, std::string(1067, 'x')), 0U);
    EXPECT_EQ(Heard(source, "22"), 0U);
    EXPECT_EQ(TakeCount(kCarol, row.sink.frame), 0U);
    Say(row.sink.stop, bob, kBob);
    EXPECT_EQ(Heard(source, "frame"), 0U);
    EXPECT_EQ(Status().traffic.framesIn, 2U);
    EXPECT_EQ(Status().traffic.framesOut, 1U);
    Say(row.sink.keepAlive, bob, kBob);
    Say(row.source.disconnect, source, kAlice);
    EXPECT_EQ(Status().sinksUdp, 2U) << "subscribers stay";
    EXPECT_NE(Publish(), source);
    EXPECT_EQ(Heard(source, "frame"), 0U) << "the old ID is gone";
}

}  // namespace
