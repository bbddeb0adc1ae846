// Desktops at the server: subscribers who ask once and say nothing, and their channels here and elsewhere.
#include "server_host.h"

#include <gtest/gtest.h>

namespace {

constexpr CEndpointAddress kFar{0x7f000009, 7005};

class Desktop : public testing::Test, protected CServerHost {
protected:
    Desktop() : CServerHost(media::kDesktop) {}
};

TEST_F(Desktop, ARequestIsKeptHalfAMinuteForItsPublisher) {
    EXPECT_EQ(Connect(LongRequest(9, kChannel, {}), kBob) + Connect(Request(8, kChannel + 1), kCarol), 0U)
        << "nobody publishes";
    RunFor(29000, 1000);
    Publish(kAlice, kChannel + 1);
    EXPECT_NE(Connected(kCarol), 0U) << "asked once, answered now";
    RunFor(3000, 1000);
    Publish();
    EXPECT_EQ(Connected(kBob), 0U) << "too long ago";
}

TEST_F(Desktop, AChannelThatGoesLeavesTheOthersTheirSubscribers) {
    Publish();
    Subscribe(9, kBob);
    CFakeTcp* overTcp = SubscribeTcp();
    ASSERT_TRUE(overTcp);
    Say(row.source.disconnect, Publish(kAlice, kChannel + 1), kAlice);
    EXPECT_EQ(Status().channels, 2U);
    RunFor(62000, 1000);
    EXPECT_EQ(Status().channels, 1U);
    EXPECT_EQ(SinkCount(), 2U);
    EXPECT_FALSE(overTcp->released);
}

TEST_F(Desktop, ADistantChannelIsAskedForAnewEachSecondAndTheRequestKeptForAFarServerThatComesLate) {
    EXPECT_EQ(Connect(LongRequest(9, kChannel, {{kFar.ip, 0, 0}, kFar.port}), kBob), 0U);
    RunFor(12000);
    const Texts asked = Take(kFar);
    ASSERT_EQ(asked.size(), 3U) << "no more to one who has never answered; it may keep the last one";
    EXPECT_NE(asked[0], asked[1]) << "a receiver of its own each time, since it asks only once";
    Publish();
    EXPECT_EQ(Connected(kBob), 0U) << "it is another's desktop";
    RunFor(2000);
    Say(row.sink.connectAck, session_wire::ReadU32(Hex(asked[2]), 2), kFar, session_wire::U32(600));
    RunFor(10, 10);
    const uint32_t sink = Connected(kBob);
    EXPECT_NE(sink, 0U);
    Answer(kBob, sink);
    RunFor(40000);
    EXPECT_GE(TakeCount(kFar, row.sink.keepAlive), 3U) << "the far server must not take it for gone";
}

}  // namespace
