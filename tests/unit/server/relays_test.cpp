// How the leg to a far server comes, is kept and goes. The test is the far server and the subscribers.
#include "server_host.h"

#include <gtest/gtest.h>

using session_wire::U32;

namespace {

constexpr uint32_t kChannel = 77;
constexpr uint32_t kFar = 0x7f000002;
constexpr CEndpointAddress kFarAddress{kFar, CServerHost::kPort};
constexpr CEndpointAddress kBob{0x0a000002, 1002};
constexpr CEndpointAddress kCarol{0x0a000003, 1003};
constexpr uint32_t kFarSink = 0xfa5;

class Relays : public testing::Test {
protected:
    void Ask(const CEndpointAddress& address, uint32_t receiverID = 9) {
        host.Deliver(CServerHost::LongConnect(receiverID, kChannel, kFar), address);
    }
    /// Of its three addresses the second is one.
    CFakeTcp* AskTcp(uint32_t channelID) {
        return host.Validate(13, U32(channelID) + U32(0) + U32(0xe0000001) + U32(kFar));
    }
    /// The far server's side of the leg: what it was asked, and its answers.
    std::vector<std::string> FarTakes() { return host.Take(kFarAddress); }
    void FarAccepts() {
        const uint32_t receiverID = host.LastID(kFarAddress, "0639", 2);
        legID = receiverID != 0 ? receiverID : legID;
        FarTakes();
        host.Deliver(Hex("063a") + U32(legID) + U32(kFarSink), kFarAddress);
        host.Run(10, 10);
    }
    void FarSends(uint16_t sequence, const std::string& frame) {
        host.Deliver(Hex("063d") + U32(legID) + U32(kFarSink) + session_wire::Data(sequence, frame), kFarAddress);
    }
    /// Its sink here, once it is acknowledged.
    uint32_t SinkOf(const CEndpointAddress& address) { return host.LastID(address, "063a", 6); }
    size_t Channels() { return host.server->Media()[0].channels; }

    CServerHost host;
    uint32_t legID = 0;
};

TEST_F(Relays, AsksOnceForAllAndServesWhenTheFarServerHasAccepted) {
    Ask(kBob);
    Ask(kBob);
    Ask(kCarol, 8);
    const auto asked = FarTakes();
    ASSERT_EQ(asked.size(), 1U);
    legID = session_wire::ReadU32(Hex(asked[0]), 2);
    EXPECT_EQ(asked[0].substr(12), "0000004d" + std::string(24, '0')) << "the far server must not relay it further";
    EXPECT_EQ(SinkOf(kBob), 0U);
    host.Run(5500);
    EXPECT_EQ(host.TakeCount(kFarAddress, "0639"), 2U) << "once a second, and three in all";
    Ask(kBob);
    host.Run(1100);
    FarAccepts();
    EXPECT_EQ(host.TakeCount(kBob, "063a"), 2U);
    EXPECT_EQ(host.TakeCount(kCarol, "063a"), 2U);
    EXPECT_EQ(FarTakes(), (std::vector<std::string>{"063b" + ToHex(U32(kFarSink))}));
    Ask({kCarol.ip, 7}, 10);
    EXPECT_EQ(host.TakeCount({kCarol.ip, 7}, "063a"), 2U) << "at once, now";
    EXPECT_TRUE(FarTakes().empty());
}

TEST_F(Relays, LetsGoTenSecondsAfterTheLastSubscriber) {
    Ask(kBob);
    FarAccepts();
    const uint32_t sinkID = SinkOf(kBob);
    host.Run(60000);
    EXPECT_EQ(Channels(), 1U);
    host.Deliver(CServerHost::Command("3f", sinkID), kBob);
    host.Run(9000);
    EXPECT_EQ(host.TakeCount(kFarAddress, "063f"), 0U);
    Ask(kBob, 10);
    host.Deliver(Hex("063c") + U32(legID) + U32(kFarSink), kFarAddress);
    host.Run(12000);
    ASSERT_NE(SinkOf(kBob), sinkID) << "taken over by the next one";
    host.Deliver(CServerHost::Command("3f", SinkOf(kBob)), kBob);
    host.Run(12500);
    EXPECT_EQ(host.TakeCount(kFarAddress, "063f"), 3U);
    EXPECT_EQ(Channels(), 0U);
}

TEST_F(Relays, GivesUpAfterTenSecondsWithoutAnAnswer) {
    Ask(kBob);
    host.Run(9000);
    EXPECT_EQ(Channels(), 1U);
    host.Run(3300);
    EXPECT_EQ(Channels(), 0U);
    EXPECT_EQ(host.TakeCount(kFarAddress, "0639"), 3U);
    host.Run(20000);
    EXPECT_TRUE(FarTakes().empty());
    EXPECT_EQ(SinkOf(kBob), 0U);
}

TEST_F(Relays, ALegThatFellSilentIsAskedBeforeItIsTrustedAgain) {
    Ask(kBob);
    FarAccepts();
    host.Deliver(CServerHost::Command("3b", SinkOf(kBob)), kBob);
    host.Run(4000);
    FarTakes();
    Ask(kCarol, 10);
    EXPECT_EQ(FarTakes(), (std::vector<std::string>{"063b" + ToHex(U32(kFarSink))}));
    EXPECT_EQ(SinkOf(kCarol), 0U);
    host.Deliver(Hex("063c") + U32(legID) + U32(kFarSink), kFarAddress);
    host.Run(100);
    EXPECT_NE(SinkOf(kCarol), 0U) << "it is alive";

    host.Run(4000);
    host.Take(kCarol);
    FarTakes();
    Ask(kCarol, 11);
    host.Run(4400);
    EXPECT_EQ(host.TakeCount(kCarol, "063a"), 0U);
    EXPECT_NE(host.LastID(kFarAddress, "0639", 2), 0U) << "subscribed anew";
    FarAccepts();
    EXPECT_EQ(host.TakeCount(kCarol, "063a"), 2U);
    host.Take(kBob);
    FarSends(0, "the old subscriber hears the new leg");
    EXPECT_EQ(host.TakeCount(kBob, "063d"), 1U);
}

TEST_F(Relays, OverTcpTheSubscriberIsTakenAtOnceAndClosedWhenTheFarServerIsLate) {
    const auto ask = [&] { return AskTcp(kChannel); };
    CFakeTcp* first = ask();
    ASSERT_TRUE(first);
    EXPECT_EQ(first->sent.size(), 1U);
    ASSERT_EQ(host.net.clients.size(), 1U);
    CFakeTcp& leg = host.net.LastClient();
    EXPECT_EQ(leg.dialledHost, "127.0.0.2") << "the first address that is one";
    EXPECT_EQ(leg.dialledPort, CServerHost::kPort);
    leg.clientNotify->OnTcpClientNotifyConnected();
    EXPECT_EQ(ToHex(leg.TakeSent()[0].bytes), "0000000d000000100000004d" + std::string(24, '0'));
    host.Run(3300);
    CFakeTcp* second = ask();
    host.Run(2200);
    EXPECT_TRUE(first->released);
    EXPECT_FALSE(second->released);
    leg.lost = true;
    host.Run(1100);
    EXPECT_TRUE(second->released && leg.released);
    EXPECT_EQ(host.net.clients.size(), 1U) << "dialled once for a request";
    second = ask();
    CFakeTcp& up = host.net.LastClient();
    up.clientNotify->OnTcpClientNotifyConnected();
    EXPECT_TRUE(up.clientNotify->OnTcpClientNotifyValidate(13, U32(kChannel).data(), 4));
    host.Run(20000);
    EXPECT_FALSE(second->released);
    second->TakeSent();
    EXPECT_TRUE(up.clientNotify->OnTcpClientNotifyReceivedFrame("down", 4));
    EXPECT_EQ(second->sent.back().bytes, "down");
    up.TakeSent();
    EXPECT_TRUE(second->sessionNotify->OnTcpSessionNotifyReceivedFrame("up", 2));
    EXPECT_EQ(up.sent.back().bytes, "up");
}

TEST_F(Relays, PendingLegsAreBounded) {
    const auto legs = [&] { return host.server->Media()[0].relays; };
    for (uint32_t i = 0; i < 10; ++i) host.Deliver(CServerHost::LongConnect(1, 1000 + i, kFar), kBob);
    EXPECT_EQ(legs(), 3U) << "of one asker";
    for (uint32_t i = 0; i < 200; ++i) host.Deliver(CServerHost::LongConnect(1, 2000 + i, kFar), {0x0b000000 + i, 1});
    EXPECT_EQ(legs(), 75U) << "of those who may not be there";
    EXPECT_TRUE(AskTcp(3000));
    EXPECT_EQ(legs(), 76U);
    host.Deliver(CServerHost::LongConnect(1, 4000, kFar), {0x0c000000, 1});
    EXPECT_EQ(legs(), 76U) << "the rest is for those over TCP";
    host.Run(12500);
    EXPECT_EQ(legs(), 0U);
    Ask(kBob);
    EXPECT_EQ(legs(), 1U);
}

TEST_F(Relays, WhoAsksOverTcpAnswersForTheChannel) {
    CServerOptions options = CServerHost::LoopbackOptions();
    options.limits.channelsPerAddress = 1;
    options.trusted.emplace();
    host.Restart(options);
    CFakeTcp* first = AskTcp(3000);
    EXPECT_TRUE(first);
    EXPECT_FALSE(AskTcp(3001));
    EXPECT_TRUE(AskTcp(3000)) << "which is there already";
    host.Run(20000);
    EXPECT_TRUE(first->released);
    EXPECT_TRUE(AskTcp(3001));
}

struct PolicyRow {
    const char* what;
    uint32_t listen;
    const char* relayTo;
    uint32_t target;
    bool allowed;
};
TEST(RelayPolicy, OnlyToWhereItMay) {
    const PolicyRow rows[] = {
        {"nobody", 0, "", 0, false},
        {"this network", 0, "", 0x00000001, false},
        {"this network, even when listed", 0, "0.0.0.0/0", 0x00ffffff, false},
        {"a unicast address", 0, "", 0x01000000, true},
        {"the last one", 0, "", 0xdfffffff, true},
        {"multicast", 0, "", 0xe0000000, false},
        {"reserved", 0, "0.0.0.0/0", 0xf0000001, false},
        {"broadcast", 0, "0.0.0.0/0", 0xffffffff, false},
        {"the network's broadcast address", 0, "0.0.0.0/0", 0x0a0000ff, false},
        {"an address of its own", 0, "", 0x0a000007, false},
        {"its own, listed", 0, "10.0.0.0/8", 0x0a000007, false},
        {"another host's", 0x0a000007, "", 0x0a000008, true},
        {"the one it listens on", 0x0a000007, "", 0x0a000007, false},
        {"loopback", 0, "", 0x7f000001, false},
        {"loopback, when it listens elsewhere", 0x0a000007, "", 0x7f000001, false},
        {"loopback, listed", 0x0a000007, "127.0.0.0/8", 0x7f000001, true},
        {"loopback, when it listens there", 0x7f000001, "", 0x7f000002, true},
        {"not listed", 0, "10.1.0.0/16", 0x0a020000, false},
        {"listed", 0, "10.1.0.0/16", 0x0a01ffff, true},
    };
    for (const PolicyRow& row : rows) {
        CServerOptions options;
        options.listenIP = row.listen;
        if (*row.relayTo != '\0') {
            ASSERT_TRUE(CCidr::Parse(row.relayTo, options.relayTo));
        }
        CRelayPolicy policy(options);
        policy.SetOwn({0x7f000001, 0x0a000007}, {0x0a0000ff});
        EXPECT_EQ(policy.Allows(row.target), row.allowed) << row.what;
    }
}

}  // namespace
