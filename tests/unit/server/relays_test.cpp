// How the leg to a far server comes, is kept and goes. The test is the far server and the subscribers.
#include "server_host.h"

#include <gtest/gtest.h>

using session_wire::U32;

namespace {

constexpr CEndpointAddress kFarServer{0x7f000002, CServerHost::kPort};
constexpr CMcuAddress kHome{{kFarServer.ip, 0, 0}, 0};
constexpr uint32_t kFarSink = 0xfa5;

class Relays : public testing::Test, protected CServerHost {
protected:
    void Ask(const CEndpointAddress& address, uint32_t receiverID = 9, uint32_t channelID = kChannel) {
        Deliver(LongRequest(receiverID, channelID, kHome), address);
    }
    /// Of its three addresses the second is none of a server.
    CFakeTcp* AskTcp(uint32_t channelID = kChannel) {
        return SubscribeTcp(channelID, {{0, 0xe0000001, kFarServer.ip}, 0});
    }
    /// Acknowledgements since the last call.
    size_t Served(const CEndpointAddress& address) { return TakeCount(address, row.sink.connectAck); }

    /// Requests to the far server since the last call; it answers the last one.
    size_t Asked() {
        if (const uint32_t legID = LastID(kFarServer, row.sink.connect, 2)) m_ulLegID = legID;
        return TakeCount(kFarServer, row.sink.connect);
    }
    void FarSays(uint8_t command, const std::string& rest = "") {
        Say(command, m_ulLegID, kFarServer, U32(kFarSink) + rest);
        RunFor(10, 10);
    }
    /// What is said to it while all goes well, and when it was silent.
    std::string KeepAlive() const { return ToHex(Datagram(row, row.sink.keepAlive, {kFarSink})); }
    size_t Goodbyes() { return TakeCount(kFarServer, row.sink.disconnect); }
    size_t Legs() { return Status().relays; }

private:
    uint32_t m_ulLegID = 0;
};

TEST_F(Relays, AsksOnceForAllAndServesWhenTheFarServerHasAccepted) {
    Ask(kBob);
    Ask(kBob);
    Ask(kCarol, 8);
    EXPECT_EQ(Asked(), 1U);
    RunFor(5500);
    EXPECT_EQ(Asked(), 2U) << "once a second, and three in all";
    Ask(kBob);
    RunFor(3500);
    EXPECT_EQ(Asked() + Served(kBob), 0U) << "after 9 s";
    FarSays(row.sink.connectAck);
    EXPECT_EQ(Served(kBob), 2U);
    EXPECT_EQ(Served(kCarol), 2U);
    EXPECT_EQ(Take(kFarServer), Texts{KeepAlive()});
    Ask({kCarol.ip, 7}, 10);
    EXPECT_EQ(Served({kCarol.ip, 7}), 2U) << "at once, now";
    EXPECT_EQ(Take(kFarServer), Texts());
}

TEST_F(Relays, LetsGoTenSecondsAfterTheLastSubscriber) {
    Ask(kBob);
    Asked();
    FarSays(row.sink.connectAck);
    const uint32_t sinkID = Connected(kBob);
    RunFor(60000);
    EXPECT_EQ(Legs(), 1U);
    Say(row.sink.disconnect, sinkID, kBob);
    RunFor(9000);
    EXPECT_EQ(Goodbyes(), 0U);
    Ask(kBob, 10);
    FarSays(row.sink.keepAliveAck);
    RunFor(12000);
    const uint32_t next = Connected(kBob);
    ASSERT_NE(next, 0U) << "taken over by the next one";
    Say(row.sink.disconnect, next, kBob);
    RunFor(12500);
    EXPECT_EQ(Goodbyes(), 3U);
    EXPECT_EQ(Status().channels, 0U);
}

TEST_F(Relays, ALegThatFellSilentIsAskedBeforeItIsTrustedAgain) {
    Ask(kBob);
    Asked();
    FarSays(row.sink.connectAck);
    Answer(kBob, Connected(kBob));
    RunFor(4000);
    Take(kFarServer);
    Ask(kCarol, 10);
    EXPECT_EQ(Take(kFarServer), Texts{KeepAlive()});
    EXPECT_EQ(Served(kCarol), 0U);
    FarSays(row.sink.keepAliveAck);
    EXPECT_EQ(Served(kCarol), 2U) << "it is alive";

    RunFor(4000);
    Take(kFarServer);
    Ask(kCarol, 11);
    RunFor(4400);
    EXPECT_EQ(Served(kCarol), 0U);
    EXPECT_GT(Asked(), 0U) << "subscribed anew";
    FarSays(row.sink.connectAck);
    EXPECT_EQ(Served(kCarol), 2U);
    Take(kBob);
    FarSays(row.sink.frame, Wrapped(0, "the old subscriber hears the new leg"));
    EXPECT_EQ(TakeCount(kBob, row.sink.frame), 1U);
}

TEST_F(Relays, OverTcpTheSubscriberIsTakenAtOnceAndClosedWhenTheFarServerIsLate) {
    CFakeTcp* first = AskTcp();
    ASSERT_TRUE(first);
    EXPECT_EQ(first->sent.size(), 1U);
    ASSERT_EQ(net.clients.size(), 1U);
    CFakeTcp& leg = net.LastClient();
    EXPECT_EQ(leg.dialledHost, "127.0.0.2") << "the first address that is one";
    leg.clientNotify->OnTcpClientNotifyConnected();
    RunFor(3300);
    CFakeTcp* second = AskTcp();
    RunFor(2200);
    EXPECT_TRUE(first->released);
    EXPECT_FALSE(second->released);
    leg.lost = true;
    RunFor(1100);
    EXPECT_TRUE(second->released && leg.released);
    EXPECT_EQ(net.clients.size(), 1U) << "dialled once for a request";
    CFakeTcp* third = AskTcp();
    net.LastClient().clientNotify->OnTcpClientNotifyConnected();
    EXPECT_TRUE(net.LastClient().Answer(13, U32(kChannel)));
    RunFor(20000);
    EXPECT_FALSE(third->released);
}

TEST_F(Relays, PendingLegsAreBounded) {
    for (uint32_t i = 0; i < 10; ++i) Ask(kBob, 1, 1000 + i);
    EXPECT_EQ(Legs(), 3U) << "of one asker";
    for (uint32_t i = 0; i < 200; ++i) Ask({0x0b000000 + i, 1}, 1, 2000 + i);
    EXPECT_EQ(Legs(), 75U) << "of those who may not be there";
    EXPECT_TRUE(AskTcp(3000));
    Ask({0x0c000000, 1}, 1, 4000);
    EXPECT_EQ(Legs(), 76U) << "the rest is for those over TCP";
    RunFor(12500);
    EXPECT_EQ(Legs(), 0U) << "none has answered for 10 s";
    Ask(kBob);
    EXPECT_EQ(Legs(), 1U);
}

TEST_F(Relays, WhoAsksOverTcpAnswersForTheChannel) {
    Restart([](CServerOptions& options) {
        options.limits.channelsPerAddress = 1;
        options.trusted.emplace();
    });
    CFakeTcp* first = AskTcp(3000);
    EXPECT_TRUE(first);
    EXPECT_FALSE(AskTcp(3001));
    EXPECT_TRUE(AskTcp(3000)) << "which is there already";
    RunFor(20000);
    EXPECT_TRUE(first->released);
    EXPECT_TRUE(AskTcp(3001));
}

TEST_F(Relays, ARefusalIsCountedAndWrittenOnceAMinute) {
    Restart([](CServerOptions& options) { CCidr::Parse("127.0.0.9", options.relayTo); });
    lines.clear();
    Ask(kBob);
    Ask(kBob);
    EXPECT_FALSE(AskTcp());
    EXPECT_EQ(lines, (Texts{"10.0.0.2 refused: this server may not relay from there (--relay-to): file channel 77 of "
                            "127.0.0.2:40000",
                            "127.0.0.1 refused: this server may not relay from there (--relay-to): file channel 77 of "
                            "224.0.0.1:40000"}));
    const CRefusalStatus one = server->Refusals()[static_cast<size_t>(Refusal::RelayTarget)];
    EXPECT_EQ(one.count, 3U);
    RunFor(61000, 1000);
    Ask(kBob);
    EXPECT_EQ(lines.size(), 3U);
}

TEST_F(Relays, ChangedOptionsHoldFromThenOn) {
    Publish();
    Subscribe(8, kCarol);
    Ask(kBob);
    Asked();
    FarSays(row.sink.connectAck);
    ASSERT_EQ(Legs(), 1U);
    CServerOptions next;
    next.limits.sinks = 1;
    next.allow = {{kFarServer.ip, 32}, {kAlice.ip, 32}, {kBob.ip, 32}};
    next.relayTo = {{kFarServer.ip, 32}};
    ASSERT_TRUE(server->Change(next));
    EXPECT_EQ(Status().sinksUdp, 1U) << "Carol's has gone";
    EXPECT_EQ(Connect(LongRequest(7, kChannel, {}), kCarol), 0U);
    EXPECT_EQ(server->Refusals()[static_cast<size_t>(Refusal::NotAllowed)].count, 1U);
    EXPECT_FALSE(server->Health().ready) << "it is full";
    EXPECT_EQ(Status().sourcesUdp, 1U);
    next.allow = {{kBob.ip, 32}};
    next.relayTo = {{kBob.ip, 32}};
    ASSERT_TRUE(server->Change(next));
    RunFor(1100);
    EXPECT_EQ(Status().sourcesUdp + Legs(), 0U);
    EXPECT_EQ(server->SinkQueueLimit(), next.limits.sinkQueueBytes);
}

TEST(RelayPolicy, OnlyToWhereItMay) {
    const struct {
        const char* what;
        uint32_t listen;
        const char* relayTo;
        std::vector<uint32_t> allowed, refused;
    } rows[] = {
        {"unicast, and nothing of its own",
         0,
         "",
         {0x01000000, 0xdfffffff},
         {0, 1, 0xe0000000, 0x0a000007, 0x7f000001}},
        {"no listing helps", 0, "0.0.0.0/0", {1 << 24}, {0x00ffffff, 0xf0000001, 0xffffffff, 0x0a0000ff, 0x0a000007}},
        {"listed alone", 0, "10.1.0.0/16", {0x0a01ffff}, {0x0a020000}},
        {"at one address others of the host are not itself", 0x0a000007, "", {0x0a000008}, {0x0a000007, 0x7f000001}},
        {"loopback when listed", 0x0a000007, "127.0.0.0/8", {0x7f000001}, {}},
        {"loopback when it listens there", 0x7f000001, "", {0x7f000002}, {0x7f000001}},
    };
    for (const auto& one : rows) {
        CServerOptions options;
        options.listenIP = one.listen;
        EXPECT_EQ(CCidr::Parse(one.relayTo, options.relayTo), *one.relayTo != '\0');
        const CLiveOptions live(options);
        CRelayPolicy policy(live);
        policy.SetOwn({0x7f000001, 0x0a000007}, {0x0a0000ff});  // and everybody of its network
        for (const uint32_t ip : one.allowed) EXPECT_TRUE(policy.Allows(ip)) << one.what << " " << std::hex << ip;
        for (const uint32_t ip : one.refused) EXPECT_FALSE(policy.Allows(ip)) << one.what << " " << std::hex << ip;
    }
}

}  // namespace
