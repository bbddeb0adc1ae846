// Subscribers: who is served, what an address has to show first, and what happens at the limits.
#include "server_host.h"

#include <gtest/gtest.h>

using session_wire::U32;

namespace {

constexpr uint32_t kChannel = 77;
constexpr CEndpointAddress kAlice{0x0a000001, 1001};
constexpr CEndpointAddress kBob{0x0a000002, 1002};
constexpr CEndpointAddress kCarol{0x0a000003, 1003};

std::string Frame(uint32_t sourceID, uint16_t sequence, const std::string& bytes) {
    return CServerHost::Command("42", sourceID, session_wire::Data(sequence, bytes));
}

size_t Sinks(CServerHost& host) {
    const CMediumStatus medium = host.server->Media()[0];
    return medium.sinksUdp + medium.sinksTcp;
}

TEST(Sinks, EveryFormOfRequestIsServedAtHomeAndOnlyThere) {
    CServerHost host;
    const auto answers = [&](const std::string& request) {
        host.Deliver(request, kBob);
        return host.TakeCount(kBob, "063a");
    };
    EXPECT_EQ(answers(CServerHost::SinkConnect(1, kChannel)), 0U);
    EXPECT_EQ(answers(CServerHost::LongConnect(2, kChannel, 0)), 0U);
    EXPECT_FALSE(host.Validate(13, U32(kChannel)));
    EXPECT_FALSE(host.Validate(13, U32(kChannel) + std::string(12, '\0')));
    host.Publish(kChannel, 5, kAlice);
    EXPECT_EQ(answers(CServerHost::SinkConnect(1, kChannel)), 2U);
    EXPECT_EQ(answers(CServerHost::LongConnect(2, kChannel, 0)), 2U);
    EXPECT_EQ(answers(CServerHost::LongConnect(4, kChannel, 0x7f000009)), 0U) << "that is another server's";
    EXPECT_EQ(answers(CServerHost::LongConnect(2, kChannel, 0)), 2U) << "acknowledged again";
    EXPECT_EQ(Sinks(host), 2U);
    CFakeTcp* shortForm = host.Validate(13, U32(kChannel));
    ASSERT_TRUE(shortForm);
    EXPECT_EQ(ToHex(shortForm->sent.at(0).bytes), "0000000d000000040000004d");
    EXPECT_TRUE(host.Validate(13, U32(kChannel) + std::string(12, '\0')));
    EXPECT_TRUE(host.Validate(13, U32(kChannel) + U32(0x7f000009) + std::string(8, '\0')));
    for (const size_t length : {0U, 3U, 5U, 8U, 15U, 17U}) EXPECT_FALSE(host.Validate(13, std::string(length, 'x')));
    for (const uint32_t type : {0U, 1U, 3U, 8U, 14U, ~0U}) EXPECT_FALSE(host.Validate(type, U32(kChannel)));
    EXPECT_EQ(Sinks(host), 5U);
}

TEST(Sinks, EveryDatagramMustComeFromTheAddressThatConnected) {
    CServerHost host;
    host.Publish(kChannel, 5, kAlice);
    const uint32_t sinkID = host.Subscribe(kChannel, 9, kBob);
    for (const CEndpointAddress& other : {kCarol, CEndpointAddress{kBob.ip, 999}}) {
        host.Deliver(CServerHost::SinkConnect(9, kChannel), other);
        host.Deliver(CServerHost::LongConnect(9, kChannel, 0), other);
        host.Deliver(CServerHost::Command("3b", sinkID), other);
        host.Deliver(CServerHost::Command("3e", sinkID, session_wire::Data(0, "up")), other);
        host.Deliver(CServerHost::Command("3f", sinkID), other);
        EXPECT_TRUE(host.Take(other).empty());
    }
    EXPECT_EQ(host.server->Media()[0].traffic.framesUp, 0U);
    EXPECT_EQ(Sinks(host), 1U);
    host.Deliver(CServerHost::Command("3b", sinkID), kBob);
    EXPECT_EQ(host.TakeCount(kBob, "063c"), 2U);
}

TEST(Sinks, FramesWaitUntilTheAddressHasAnswered) {
    CServerHost host;
    const uint32_t sourceID = host.Publish(kChannel, 5, kAlice);
    host.Deliver(CServerHost::SinkConnect(9, kChannel), kBob);
    const uint32_t sinkID = host.LastID(kBob, "063a", 6);
    host.Take(kBob);
    host.Deliver(Frame(sourceID, 0, "waits"), kAlice);
    host.Run(5000);
    EXPECT_TRUE(host.Take(kBob).empty());
    EXPECT_TRUE(host.lines.size() == 1) << "not yet a subscriber";
    host.Deliver(CServerHost::Command("3b", sinkID), kBob);
    EXPECT_EQ(host.LastLine(), "file sink 10.0.0.2:1002 (udp) came to channel 77");
    EXPECT_EQ(host.TakeCount(kBob, "063d"), 1U);
    host.Deliver(CServerHost::Command("3f", sinkID), kBob);
    EXPECT_EQ(host.LastLine(), "file sink 10.0.0.2:1002 (udp) left channel 77");
}

TEST(Sinks, SilenceEndsThemAfterThreeMinutes) {
    CServerHost host;
    host.Publish(kChannel, 5, kAlice);
    host.Subscribe(kChannel, 9, kBob);
    host.Run(179000, 1001);
    EXPECT_EQ(Sinks(host), 1U);
    host.Run(4000, 1001);
    EXPECT_EQ(Sinks(host), 0U);
}

struct LimitRow {
    const char* what;
    size_t CServerLimits::*limit;
    size_t value;
    size_t served;  // of five subscribers of two channels
    bool tcp;       // and whether one more is
};
class SinkLimits : public testing::TestWithParam<LimitRow> {};
TEST_P(SinkLimits, ClientsBeyondThemGetNoAnswer) {
    CServerOptions options = CServerHost::LoopbackOptions();
    options.limits.*GetParam().limit = GetParam().value;
    CServerHost host(options);
    host.Publish(kChannel, 5, kAlice);
    host.Publish(kChannel + 1, 5, kAlice);
    size_t served = 0;
    for (uint32_t i = 0; i < 5; ++i) served += host.Subscribe(kChannel + i % 2, i, {kBob.ip + i, 1}) != 0 ? 1 : 0;
    EXPECT_EQ(served, GetParam().served);
    EXPECT_EQ(host.Validate(13, U32(kChannel)) != nullptr, GetParam().tcp);
}
INSTANTIATE_TEST_SUITE_P(Rows, SinkLimits,
                         testing::Values(LimitRow{"per channel", &CServerLimits::sinksPerChannel, 2, 4, false},
                                         LimitRow{"of a medium", &CServerLimits::sinks, 3, 3, false},
                                         LimitRow{"of a medium, enough", &CServerLimits::sinks, 6, 5, true},
                                         LimitRow{"channels", &CServerLimits::channels, 1, 3, true}),
                         [](const auto& row) { return std::to_string(row.index); });

TEST(SinkLimits, TheOldestWhoHasNotAnsweredGivesWay) {
    CServerOptions options = CServerHost::LoopbackOptions();
    options.limits.sinksPerChannel = 3;
    CServerHost host(options);
    const auto address = [](uint16_t number) { return CEndpointAddress{kBob.ip + number, number}; };
    host.Publish(kChannel, 5, kAlice);
    host.Subscribe(kChannel, 1, address(1));
    host.Deliver(CServerHost::SinkConnect(2, kChannel), address(2));
    const uint32_t evicted = host.LastID(address(2), "063a", 6);
    host.Deliver(CServerHost::SinkConnect(3, kChannel), address(3));
    const uint32_t kept = host.LastID(address(3), "063a", 6);
    EXPECT_NE(host.Subscribe(kChannel, 4, address(4)), 0U);
    host.net.Udp().TakeSent();
    host.Deliver(CServerHost::Command("3b", evicted), address(2));
    EXPECT_TRUE(host.net.Udp().TakeSent().empty());
    host.Deliver(CServerHost::Command("3b", kept), address(3));
    EXPECT_EQ(host.TakeCount(address(3), "063c"), 2U);
    EXPECT_EQ(host.Subscribe(kChannel, 5, address(5)), 0U) << "all three are there";
}

TEST(SinkLimits, OneAddressHasAQuarterOfAChannelAndOfTheMedium) {
    CServerOptions options = CServerHost::LoopbackOptions();
    options.limits.sinksPerChannel = 8;
    options.limits.sinks = 12;
    CServerHost host(options);
    const auto subscribe = [&](uint32_t channel, uint16_t number, uint32_t ip = kBob.ip) {
        return host.Subscribe(channel, number, {ip, number});
    };
    host.Publish(kChannel, 5, kAlice);
    host.Publish(kChannel + 1, 5, kAlice);
    host.Deliver(CServerHost::SinkConnect(1, kChannel), {kBob.ip, 1});
    const uint32_t first = subscribe(kChannel, 2);
    EXPECT_NE(first, 0U);
    EXPECT_NE(subscribe(kChannel, 3), 0U) << "its own unvalidated one gives way";
    EXPECT_EQ(subscribe(kChannel, 4), 0U);
    EXPECT_NE(subscribe(kChannel + 1, 5), 0U);
    EXPECT_EQ(subscribe(kChannel + 1, 6), 0U) << "three of the medium's twelve";
    EXPECT_NE(subscribe(kChannel, 7, kCarol.ip), 0U);
    EXPECT_TRUE(host.Validate(13, U32(kChannel))) << "of one who is trusted";
    host.Deliver(CServerHost::Command("3f", first), {kBob.ip, 2});
    EXPECT_NE(subscribe(kChannel, 8), 0U) << "in the place of one who has left";
}

TEST(SinkLimits, AtItsShareAnAddressGivesUpItsOwnOldest) {
    CServerHost host;
    host.Publish(kChannel, 5, kAlice);
    host.Deliver(CServerHost::SinkConnect(300, kChannel), kCarol);
    std::vector<uint32_t> sinks;
    for (uint16_t i = 0; i < 100; ++i) {
        host.Deliver(CServerHost::SinkConnect(i, kChannel), {kBob.ip, i});
        sinks.push_back(host.LastID({kBob.ip, i}, "063a", 6));
    }
    EXPECT_EQ(Sinks(host), 65U) << "and one of another address";
    host.net.Udp().TakeSent();
    for (const uint16_t i : {uint16_t{35}, uint16_t{36}})
        host.Deliver(CServerHost::Command("3b", sinks[i]), {kBob.ip, i});
    EXPECT_EQ(host.TakeCount({kBob.ip, 35}, "063c"), 0U) << "it has given way";
    EXPECT_EQ(host.TakeCount({kBob.ip, 36}, "063c"), 2U);
    for (uint32_t i = 0; i < 100; ++i)
        host.Deliver(CServerHost::SourceConnect(1000 + i, i), {kBob.ip, static_cast<uint16_t>(i + 1)});
    EXPECT_EQ(host.server->Media()[0].unvalidated, 64U + 64U) << "and as many publishers";
    EXPECT_NE(host.Publish(2000, 7, kBob), 0U);
}

TEST(SinkLimits, WhoReadsTooSlowlyIsDropped) {
    CServerOptions options = CServerHost::LoopbackOptions();
    options.limits.sinkQueueBytes = 4000;
    CServerHost host(options);
    const uint32_t sourceID = host.Publish(kChannel, 5, kAlice);
    host.Subscribe(kChannel, 9, kBob);
    CFakeTcp* slow = host.Validate(13, U32(kChannel));
    CFakeTcp* quick = host.Validate(13, U32(kChannel));
    slow->TakeSent();
    slow->stalled = true;
    for (uint16_t i = 0; i < 10; ++i) host.Deliver(Frame(sourceID, i, std::string(1000, 'f')), kAlice);
    EXPECT_EQ(slow->sent.size(), 6U) << "nothing more is queued once it is too much beside the longest";
    host.Run(1200);
    EXPECT_TRUE(slow->released);
    EXPECT_FALSE(quick->released);
    const CMediumStatus medium = host.server->Media()[0];
    EXPECT_EQ(medium.sinksUdp, 0U);
    EXPECT_LE(medium.queuedBytes, 6000U);
    EXPECT_GT(medium.links.dropped, 0U);
}

TEST(SinkLimits, OneFrameOverTheLimitIsNoReasonToDropWhoReads) {
    CServerOptions options = CServerHost::LoopbackOptions();
    options.limits.sinkQueueBytes = 4000;
    CServerHost host(options);
    const uint32_t sourceID = host.Publish(kChannel, 5, kAlice);
    CFakeTcp* subscriber = host.Validate(13, U32(kChannel));
    subscriber->TakeSent();
    subscriber->stalled = true;
    host.Deliver(Frame(sourceID, 0, std::string(5000, 'f')), kAlice);
    host.Run(1200);
    EXPECT_EQ(subscriber->sent.size(), 1U);
    EXPECT_FALSE(subscriber->released);
    for (uint16_t i = 1; i < 6; ++i) host.Deliver(Frame(sourceID, i, std::string(900, 'b')), kAlice);
    EXPECT_EQ(subscriber->sent.size(), 6U) << "it may wait, and so may others behind it";
    host.Deliver(Frame(sourceID, 6, "too much"), kAlice);
    host.Run(1200);
    EXPECT_EQ(subscriber->sent.size(), 6U);
    EXPECT_TRUE(subscriber->released) << "it reads nothing";
    EXPECT_EQ(subscriber->maxStall, 10000U);
}

TEST(SinkLimits, UpstreamFramesAreBoundedInLengthAndInNumberAndThePublisherStays) {
    CServerOptions options = CServerHost::LoopbackOptions();
    options.limits.upstreamFrameBytes = 1500;
    options.limits.upstreamQueueBytes = 3200;  // three frames of 1000 and the room each takes besides
    CServerHost host(options);
    host.Publish(kChannel, 5, kAlice);
    const uint32_t sinkID = host.Subscribe(kChannel, 9, kBob);
    CFakeTcp* tcp = host.Validate(13, U32(kChannel));
    EXPECT_EQ(tcp->maxReceivedFrame, 1500U) << "a longer one is not even collected";
    const auto up = [&](uint16_t sequence, uint8_t marks, size_t length) {
        host.Deliver(
            CServerHost::Command("3e", sinkID, session_wire::Packet(sequence, 0, marks, std::string(length, 'u'))),
            kBob);
    };
    up(0, 0x04, 1000);  // a frame in two packets, too long together
    up(1, 0x02, 1000);
    EXPECT_TRUE(tcp->sessionNotify->OnTcpSessionNotifyReceivedFrame(std::string(1501, 'u').data(), 1501));
    EXPECT_EQ(host.server->Media()[0].traffic.framesUp, 0U);
    for (uint16_t i = 0; i < 10; ++i) up(static_cast<uint16_t>(2 + i), 0x06, 1000);
    const CMediumStatus medium = host.server->Media()[0];
    EXPECT_EQ(medium.traffic.framesUp, 4U) << "one in the session, three queued";
    EXPECT_EQ(medium.traffic.dropped, 7U);
    host.Run(5000);
    EXPECT_EQ(host.server->Media()[0].sourcesUdp, 1U);
    CFakeTcp* publisher = host.Validate(12, U32(78));
    EXPECT_EQ(publisher->maxReceivedFrame, 0U) << "a publisher's frames have the library's limit";
    CFakeTcp* subscriber = host.Validate(13, U32(78));
    publisher->TakeSent();
    publisher->queuedBytes = 3100;
    EXPECT_TRUE(subscriber->sessionNotify->OnTcpSessionNotifyReceivedFrame(std::string(101, 'u').data(), 101));
    EXPECT_TRUE(publisher->sent.empty());
    EXPECT_TRUE(subscriber->sessionNotify->OnTcpSessionNotifyReceivedFrame(std::string(100, 'u').data(), 100));
    EXPECT_EQ(publisher->sent.size(), 1U);
}

TEST(SinkLimits, WhoMayTalkToItAtAll) {
    CServerOptions options = CServerHost::LoopbackOptions();
    ASSERT_TRUE(CCidr::Parse("10.0.0.0/30", options.allow));
    CServerHost host(options);
    EXPECT_NE(host.Publish(kChannel, 5, kAlice), 0U);
    host.Deliver(CServerHost::SourceConnect(78, 6), {0x0a000004, 1});
    EXPECT_TRUE(host.Take({0x0a000004, 1}).empty());
    EXPECT_TRUE(host.server->MayAccept(kBob.ip, 63));
    EXPECT_FALSE(host.server->MayAccept(kBob.ip, 64)) << "so many have not said what they want";
    EXPECT_FALSE(host.server->MayAccept(0x0a000004, 0));
}

}  // namespace
