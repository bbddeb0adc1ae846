// Desktops at the server: subscribers who ask once and say nothing, and their channels here and elsewhere.
#include "server_host.h"

#include <gtest/gtest.h>

using session_wire::Ack;
using session_wire::Data;
using session_wire::U32;

namespace {

constexpr uint32_t kChannel = 77;
constexpr CEndpointAddress kAlice{0x0a000001, 1001};
constexpr CEndpointAddress kBob{0x0a000002, 1002};
constexpr CEndpointAddress kFar{0x7f000009, 7005};
constexpr size_t kPlace = 3;  // among the media of the status

class Desktop : public testing::Test {
protected:
    void Say(const char* command, uint32_t id, const CEndpointAddress& address, const std::string& rest = "") {
        host.Deliver(Hex("05") + Hex(command) + U32(id) + rest, address);
    }
    /// The long request; without a far server, when it is at home here.
    void Ask(const CEndpointAddress& address, uint32_t receiverID, uint32_t channelID, uint32_t farIP = 0,
             uint16_t farPort = 0) {
        Say("2b", receiverID, address, U32(channelID) + U32(farIP) + U32(0) + U32(0) + U32(farPort).substr(2));
    }
    uint32_t SinkOf(const CEndpointAddress& address) { return host.LastID(address, "052c", 6); }
    /// One that has connected and answered. Its source ID.
    uint32_t Publish(uint32_t channelID, const CEndpointAddress& address) {
        Say("32", channelID, address, U32(5));
        const uint32_t sourceID = host.LastID(address, "0533", 6);
        Say("37", sourceID, address);
        host.Take(address);
        Say("32", channelID, address, U32(5));
        EXPECT_EQ(host.TakeCount(address, "0533"), 2U) << "against loss, to who is known";
        host.Take(address);
        return sourceID;
    }
    /// Packets to the peer since the last call.
    size_t Packets(const CEndpointAddress& address) { return host.TakeCount(address, "052f"); }

    CMediumStatus Status() { return host.server->Media().at(kPlace); }

    CServerHost host;
};

TEST_F(Desktop, ARequestIsKeptHalfAMinuteForItsPublisher) {
    Ask(kBob, 9, kChannel);
    Ask({kBob.ip, 7}, 8, kChannel + 1);
    EXPECT_EQ(SinkOf(kBob), 0U) << "nobody publishes";
    host.Run(29000, 1000);
    Publish(kChannel, kAlice);
    EXPECT_NE(SinkOf(kBob), 0U) << "asked once, answered now";
    host.Run(3000, 1000);
    Publish(kChannel + 1, {kAlice.ip, 8});
    EXPECT_EQ(SinkOf({kBob.ip, 7}), 0U) << "too long ago";
}

TEST_F(Desktop, WhoHasNotAnsweredGetsOneSmallPacketAndThenEverything) {
    const uint32_t source = Publish(kChannel, kAlice);
    Ask(kBob, 9, kChannel);
    const uint32_t sink = SinkOf(kBob);
    EXPECT_EQ(Packets(kBob), 1U) << "without content: it only has to be acknowledged";
    const std::string picture(1000, 'x');
    Say("34", source, kAlice, Data(0, picture));
    host.Run(10000);
    EXPECT_EQ(Packets(kBob), 0U) << "more than three times of what came is for nobody";
    for (int i = 0; i < 5; ++i) Ask(kBob, 9, kChannel);
    EXPECT_LE(Packets(kBob), 2U);
    Say("30", sink, {kBob.ip, 7}, Ack(0));
    host.Run(1000);
    EXPECT_EQ(Packets(kBob), 0U) << "not from there";
    Say("30", sink, kBob, Ack(0));
    const auto sent = host.Take(kBob);
    ASSERT_FALSE(sent.empty());
    EXPECT_EQ(sent.back(), ToHex(Hex("052f") + U32(9) + U32(sink) + Data(1, picture)));
}

TEST_F(Desktop, FramesTravelBothWaysAndThePublisherIsKeptAwake) {
    const uint32_t source = Publish(kChannel, kAlice);
    Ask(kBob, 9, kChannel);
    const uint32_t sink = SinkOf(kBob);
    Say("30", sink, kBob, Ack(0));
    host.Take(kBob);
    host.Take(kAlice);
    Say("34", source, kAlice, Data(0, "picture"));
    EXPECT_EQ(host.Take(kBob), std::vector<std::string>{ToHex(Hex("052f") + U32(9) + U32(sink) + Data(1, "picture"))});
    host.Take(kAlice);
    Say("30", sink, kBob, Data(0, "pointer"));
    EXPECT_EQ(host.Take(kAlice), std::vector<std::string>{ToHex(Hex("0535") + U32(5) + Data(0, "pointer"))});
    Say("35", 5, kAlice);
    Say("34", source, kAlice, Ack(0));
    host.Run(6000);
    EXPECT_GE(host.TakeCount(kAlice, "053600000005"), 2U);
    Say("38", source, kAlice);
    Say("31", sink, kBob);
    EXPECT_EQ(Status().sinksUdp, 0U);
}

TEST_F(Desktop, AChannelThatGoesLeavesTheOthersTheirSubscribers) {
    Publish(kChannel, kAlice);
    Ask(kBob, 9, kChannel);
    Say("30", SinkOf(kBob), kBob, Ack(0));
    CFakeTcp* overTcp = host.Validate(11, U32(kChannel) + std::string(14, '\0'));
    ASSERT_TRUE(overTcp);
    EXPECT_EQ(overTcp->TakeSent().at(0).bytes, Hex("0000000b 00000004") + U32(kChannel));
    const uint32_t other = Publish(kChannel + 1, {kAlice.ip, 8});
    Say("38", other, {kAlice.ip, 8});
    EXPECT_EQ(Status().channels, 2U);
    host.Run(62000, 1000);
    EXPECT_EQ(Status().channels, 1U);
    EXPECT_EQ(Status().sinksUdp, 1U);
    EXPECT_EQ(Status().sinksTcp, 1U);
    EXPECT_FALSE(overTcp->released);
}

TEST_F(Desktop, ADistantChannelIsAskedForAnewEachSecondUntilItsServerAnswers) {
    Ask(kBob, 9, kChannel, kFar.ip, kFar.port);
    host.Run(3100);
    const auto asked = host.Take(kFar);
    ASSERT_EQ(asked.size(), 3U);
    for (const std::string& one : asked)
        EXPECT_EQ(one.substr(12), ToHex(U32(kChannel)) + std::string(28, '0')) << "not to be relayed further";
    EXPECT_NE(asked[0], asked[1]) << "a receiver of its own each time, since it asks only once";
    EXPECT_EQ(SinkOf(kBob), 0U);
    const std::string leg = Hex(asked[2]).substr(2, 4);
    host.Deliver(Hex("052c") + leg + U32(600), kFar);
    host.Run(10, 10);
    const uint32_t sink = SinkOf(kBob);
    EXPECT_NE(sink, 0U);
    Say("30", sink, kBob, Ack(0));
    host.Take(kBob);
    host.Deliver(Hex("052f") + leg + U32(600) + Data(0, "picture"), kFar);
    EXPECT_EQ(Packets(kBob), 1U);
    host.Take(kFar);
    Say("30", sink, kBob, Data(0, "pointer"));
    EXPECT_EQ(host.Take(kFar), std::vector<std::string>{ToHex(Hex("0530") + U32(600) + Data(0, "pointer"))});
    host.Run(40000);
    EXPECT_GE(host.TakeCount(kFar, "052d00000258"), 3U) << "the far server must not take it for gone";
}

TEST_F(Desktop, AFarServerThatComesLateFindsTheRequestStillKept) {
    Ask(kBob, 9, kChannel, kFar.ip, kFar.port);
    host.Run(12000);
    Publish(kChannel, kAlice);
    EXPECT_EQ(SinkOf(kBob), 0U) << "it is another's desktop";
    host.Run(2000);
    const auto asked = host.Take(kFar);
    ASSERT_EQ(asked.size(), 3U) << "no more to one who has never answered; it may keep the last one";
    host.Deliver(Hex("052c") + Hex(asked.back()).substr(2, 4) + U32(600), kFar);
    host.Run(2000);
    EXPECT_NE(SinkOf(kBob), 0U);
}

}  // namespace
