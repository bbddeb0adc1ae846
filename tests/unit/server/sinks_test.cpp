// Subscribers at the limits: who gets no answer, who gives way, and what may wait.
#include "server_host.h"

#include <gtest/gtest.h>

namespace {

class Sinks : public testing::Test, protected CServerHost {
protected:
    /// A frame of Alice, who publishes.
    void Send(uint32_t sourceID, const std::string& frame) {
        Say(row.source.frame, sourceID, kAlice, Wrapped(m_usNext++, frame));
    }
    /// Whether one of that address is served.
    bool Come(const CEndpointAddress& address, uint32_t channelID = kChannel) {
        return Subscribe(address.port, address, channelID) != 0;
    }
    /// Whether a sink is still there.
    bool Lives(uint32_t sinkID, const CEndpointAddress& address) {
        Say(row.sink.keepAlive, sinkID, address);
        return TakeCount(address, row.sink.keepAliveAck) == 2;
    }

private:
    uint16_t m_usNext = 0;
};

TEST_F(Sinks, BeyondTheLimitsGetNoAnswer) {
    const struct {
        const char* what;
        size_t CServerLimits::*limit;
        size_t value;
        size_t served;  // of five subscribers of two channels
        bool tcp;       // and whether one more is
    } rows[] = {{"per channel", &CServerLimits::sinksPerChannel, 2, 4, false},
                {"of a medium", &CServerLimits::sinks, 3, 3, false},
                {"of a medium, enough", &CServerLimits::sinks, 6, 5, true},
                {"channels", &CServerLimits::channels, 1, 3, true}};
    for (const auto& one : rows) {
        Restart([&](CServerOptions& options) { options.limits.*one.limit = one.value; });
        for (const uint32_t channel : {0U, 1U}) Publish(kAlice, kChannel + channel);
        size_t served = 0;
        for (uint16_t i = 1; i <= 5; ++i) served += Come({kBob.ip + i, i}, kChannel + 1 - i % 2) ? 1 : 0;
        EXPECT_EQ(served, one.served) << one.what;
        EXPECT_EQ(SubscribeTcp() != nullptr, one.tcp) << one.what;
    }
    EXPECT_TRUE(server->MayAccept(kBob.ip, 63));
    EXPECT_FALSE(server->MayAccept(kBob.ip, 64)) << "so many have not said what they want";
}

TEST_F(Sinks, TheOldestWhoHasNotAnsweredGivesWay) {
    Restart([](CServerOptions& options) { options.limits.sinksPerChannel = 3; });
    const auto address = [](uint16_t number) { return CEndpointAddress{kBob.ip + number, number}; };
    Publish();
    Come(address(1));
    const uint32_t evicted = Connect(Request(2), address(2)), kept = Connect(Request(3), address(3));
    EXPECT_TRUE(Come(address(4)));
    EXPECT_FALSE(Lives(evicted, address(2)));
    EXPECT_TRUE(Lives(kept, address(3)));
    EXPECT_FALSE(Come(address(5))) << "all three are there";
}

TEST_F(Sinks, OneAddressHasAQuarterOfAChannelAndOfTheMedium) {
    Restart([](CServerOptions& options) {
        options.limits.sinksPerChannel = 8;
        options.limits.sinks = 12;
    });
    for (const uint32_t channel : {0U, 1U}) Publish(kAlice, kChannel + channel);
    Deliver(Request(1), {kBob.ip, 1});
    const uint32_t first = Subscribe(2, {kBob.ip, 2});
    EXPECT_NE(first, 0U);
    EXPECT_TRUE(Come({kBob.ip, 3})) << "its own unvalidated one gives way";
    EXPECT_FALSE(Come({kBob.ip, 4}));
    EXPECT_TRUE(Come({kBob.ip, 5}, kChannel + 1));
    EXPECT_FALSE(Come({kBob.ip, 6}, kChannel + 1)) << "three of the medium's twelve";
    EXPECT_TRUE(Come({kCarol.ip, 7}));
    EXPECT_TRUE(SubscribeTcp()) << "of one who is trusted";
    Say(row.sink.disconnect, first, {kBob.ip, 2});
    EXPECT_TRUE(Come({kBob.ip, 8})) << "in the place of one who has left";
}

TEST_F(Sinks, AtItsQuotaOfUnvalidatedOnesAnAddressGivesUpItsOwnOldest) {
    Publish();
    Deliver(Request(300), kCarol);
    std::vector<uint32_t> sinks;
    for (uint16_t i = 0; i < 100; ++i) sinks.push_back(Connect(Request(i), {kBob.ip, i}));
    EXPECT_EQ(SinkCount(), 65U) << "and one of another address";
    EXPECT_FALSE(Lives(sinks[35], {kBob.ip, 35})) << "it has given way";
    EXPECT_TRUE(Lives(sinks[36], {kBob.ip, 36}));
    for (uint16_t i = 1; i <= 100; ++i) Claimed({kBob.ip, i}, 1000U + i, i);
    EXPECT_EQ(Status().unvalidated, 64U + 64U) << "and as many publishers";
    EXPECT_NE(Publish(kBob, 2000, 7), 0U);
}

TEST_F(Sinks, WhoReadsTooSlowlyIsDroppedButNotForOneLongFrame) {
    Restart([](CServerOptions& options) { options.limits.sinkQueueBytes = 4000; });
    const uint32_t source = Publish();
    Subscribe(9, kBob);
    CFakeTcp *slow = SubscribeTcp(), *quick = SubscribeTcp();
    slow->TakeSent();
    slow->stalled = true;
    for (int i = 0; i < 10; ++i) Send(source, std::string(1000, 'f'));
    EXPECT_EQ(slow->sent.size(), 6U) << "nothing more is queued once it is too much beside the longest";
    RunFor(1200);
    EXPECT_TRUE(slow->released);
    EXPECT_FALSE(quick->released);
    EXPECT_EQ(Status().sinksUdp, 0U);
    EXPECT_LE(Status().queuedBytes, 6000U);
    EXPECT_GT(Status().links.dropped, 0U);
    quick->queued = 200;
    Send(source, "more");
    RunFor(1200);
    EXPECT_TRUE(quick->released) << "many short frames take room as well";

    CFakeTcp* patient = SubscribeTcp();
    EXPECT_EQ(patient->maxStall, 10000U);
    patient->TakeSent();
    patient->stalled = true;
    Send(source, std::string(5000, 'f'));
    RunFor(1200);
    EXPECT_FALSE(patient->released);
    for (int i = 0; i < 5; ++i) Send(source, std::string(900, 'b'));
    EXPECT_EQ(patient->sent.size(), 6U) << "the long one may wait, and so may others behind it";
    Send(source, "too much");
    EXPECT_EQ(patient->sent.size(), 6U);
}

TEST_F(Sinks, UpstreamFramesAreBoundedInLengthAndInNumberAndThePublisherStays) {
    Restart([](CServerOptions& options) {
        options.limits.upstreamFrameBytes = 1500;
        options.limits.upstreamQueueBytes = 3200;  // three frames of 1000 and the room each takes besides
    });
    Publish();
    const uint32_t sinkID = Subscribe(9, kBob);
    CFakeTcp* tcp = SubscribeTcp();
    EXPECT_EQ(tcp->maxReceivedFrame, 1500U) << "a longer one is not even collected";
    const auto up = [&](uint16_t sequence, uint8_t marks) {
        Say(row.sink.frameAck, sinkID, kBob, session_wire::Packet(sequence, 0, marks, std::string(1000, 'u')));
    };
    up(0, 0x04);  // a frame in two packets, too long together
    up(1, 0x02);
    EXPECT_TRUE(tcp->Hear(std::string(1501, 'u')));
    EXPECT_EQ(Status().traffic.framesUp, 0U);
    for (uint16_t i = 2; i < 12; ++i) up(i, 0x06);
    EXPECT_EQ(Status().traffic.framesUp, 4U) << "one in the session, three queued";
    EXPECT_EQ(Status().traffic.dropped, 7U);
    RunFor(5000);
    EXPECT_EQ(Status().sourcesUdp, 1U);
    CFakeTcp *publisher = PublishTcp(78), *subscriber = SubscribeTcp(78);
    EXPECT_EQ(publisher->maxReceivedFrame, 0U) << "a publisher's frames have the library's limit";
    publisher->TakeSent();
    publisher->queuedBytes = 3100;
    subscriber->Hear(std::string(101, 'u'));
    EXPECT_EQ(publisher->TakeFrames().size(), 0U);
    subscriber->Hear(std::string(100, 'u'));
    EXPECT_EQ(publisher->TakeFrames().size(), 1U);
}

}  // namespace
