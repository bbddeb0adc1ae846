// Publishers: who may publish a channel, for how long it is theirs, and who answers for it.
#include "server_host.h"

#include <gtest/gtest.h>

using session_wire::U32;

namespace {

class Sources : public testing::Test, protected CServerHost {
protected:
    size_t Questions() { return TakeCount(kAlice, row.source.keepAlive); }
    void Show(uint32_t sourceID, const CEndpointAddress& address) { Say(row.source.keepAliveAck, sourceID, address); }
    void Leave(uint32_t sourceID, const CEndpointAddress& address) { Say(row.source.disconnect, sourceID, address); }
};

TEST_F(Sources, WhoShowsItselfFirstPublishes) {
    const uint32_t alice = Claimed(kAlice), bob = Claimed(kBob);
    EXPECT_NE(alice, bob) << "the same key, but from another address";
    Show(bob, kBob);
    EXPECT_EQ(LastLine(), "file source 10.0.0.2:1002 (udp) publishes channel 77");
    Show(alice, kAlice);
    RunFor(5000);
    EXPECT_EQ(lines.size(), 1U) << "the others are ended";
    EXPECT_EQ(Status().unvalidated, 0U);
    Claimed(kCarol, kChannel + 1);
    EXPECT_TRUE(PublishTcp(kChannel + 1)) << "a claim keeps nobody out";
    EXPECT_EQ(Status().unvalidated, 0U);
}

// The challenger comes over UDP or TCP; who holds the channel says something when it is asked, or nothing.
TEST_F(Sources, APublisherThatDoesNotAnswerThreeTimesGivesWayToAChallenger) {
    for (const bool tcp : {false, true}) {
        for (const bool answers : {false, true}) {
            SCOPED_TRACE(std::string(tcp ? "tcp " : "udp ") + (answers ? "answers" : "silent"));
            RunFor(2000);
            const uint32_t alice = Publish();
            const uint32_t bob = tcp ? 0 : Claimed(kBob, kChannel, 6);
            CFakeTcp* session = tcp ? PublishTcp() : nullptr;
            if (!tcp) Show(bob, kBob);
            EXPECT_EQ(tcp ? 0U : Claimed(kBob, kChannel, 6), bob) << "asked again";
            EXPECT_EQ(Questions(), 1U);
            RunFor(2900);
            EXPECT_EQ(Questions(), 2U);
            EXPECT_TRUE(tcp ? session->sent.empty() : Take(kBob).empty()) << "until that is decided";
            if (answers) Show(alice, kAlice);
            RunFor(200);
            EXPECT_EQ(tcp ? !session->sent.empty() : TakeCount(kBob, row.source.connectAck) == 1, !answers);
            EXPECT_EQ(tcp && session->released, tcp && answers);
            EXPECT_EQ(!tcp && answers ? Acknowledged(kBob, kChannel, 8) : 0, 0U) << "so that it notices";
            Leave(answers ? alice : bob, answers ? kAlice : kBob);
            if (tcp) session->lost = true;
        }
    }
    RunFor(20000);
    EXPECT_NE(Acknowledged(kBob, kChannel, 8), 0U) << "it may try again later";
}

TEST_F(Sources, AnswersForAChannelUntilOthersKeepIt) {
    Restart([](CServerOptions& options) { options.limits.channelsPerAddress = 2; });
    const uint32_t first = Publish(), second = Publish(kAlice, kChannel + 1);
    Subscribe(9, kBob);
    Deliver(Request(10, kChannel + 1), kCarol);  // and is not validated
    for (const uint32_t id : {first, second}) Leave(id, kAlice);
    EXPECT_EQ(Publish(kAlice, kChannel + 2), 0U);
    RunFor(1100);
    EXPECT_NE(Publish(kAlice, kChannel + 2), 0U) << "the first is Bob's, who listens";
    EXPECT_EQ(Publish(kAlice, kChannel + 3), 0U) << "the second is still hers";
    Publish(kBob, kChannel + 4);
    EXPECT_EQ(Publish(kBob, kChannel + 5), 0U);
}

TEST_F(Sources, AWaitingTcpChallengerIsAConnectionOfItsAddress) {
    Restart([](CServerOptions& options) {
        options.limits.connections = 8;
        options.trusted.emplace();
    });
    for (uint32_t i = 0; i < 3; ++i) Publish(kAlice, kChannel + i);
    CFakeTcp* loses = PublishTcp();
    EXPECT_TRUE(loses && PublishTcp(kChannel + 1));
    EXPECT_FALSE(PublishTcp(kChannel + 2)) << "a quarter is two";
    loses->lost = true;
    RunFor(100);
    EXPECT_TRUE(PublishTcp(kChannel + 2));
}

TEST_F(Sources, IsNotAskedWithoutEndForOneChallengerAfterTheOther) {
    const uint32_t alice = Publish();
    for (uint16_t key = 6; key < 100; ++key) {
        const CEndpointAddress challenger{kBob.ip, key};
        Show(Claimed(challenger, kChannel, key), challenger);
        Show(alice, kAlice);
        RunFor(100);
    }
    EXPECT_LE(Questions(), 12U) << "in nine seconds";
}

TEST_F(Sources, ChannelsOutliveTheirPublishersAndGoAMinuteAfterTheLastSubscriber) {
    Leave(Publish(), kAlice);
    RunFor(59000, 1001);
    EXPECT_EQ(Status().channels, 1U);
    const uint32_t sinkID = Subscribe(9, kBob);
    EXPECT_NE(sinkID, 0U) << "at home here, with or without a publisher";
    RunFor(61000, 1001);
    const uint32_t next = Publish(kCarol, kChannel, 6);
    Say(row.source.frame, next, kCarol, Wrapped(0, "again"));
    EXPECT_EQ(TakeCount(kBob, row.sink.frame), 1U);
    RunFor(100000, 1001);
    Say(row.sink.keepAlive, sinkID, kBob);
    RunFor(79000, 1001);
    EXPECT_GT(TakeCount(kCarol, row.source.keepAlive), 80U) << "a silent one is kept, and still asked";
    RunFor(3000, 1001);
    EXPECT_EQ(Status().sourcesUdp, 0U) << "for three minutes";
    EXPECT_EQ(Status().channels, 1U) << "somebody listens";
    Say(row.sink.disconnect, sinkID, kBob);
    RunFor(63000, 1001);
    EXPECT_EQ(Status().channels, 0U);
    EXPECT_EQ(Connect(LongRequest(9, kChannel, {}), kBob), 0U);
}

TEST_F(Sources, AtTheEndTcpQueuesDrainAndEverythingIsReleased) {
    CFakeTcp* user = Validate(wire::TcpType::Signalling, U32(7));
    CFakeTcp *publisher = PublishTcp(), *subscriber = SubscribeTcp();
    Publish(kAlice, 78);
    server->Drain();
    for (CFakeTcp* one : {user, publisher, subscriber})
        EXPECT_TRUE(one->lost && !one->released) << "closes when its queue is empty";
    EXPECT_FALSE(Validate(wire::TcpType::Signalling, U32(8)) || PublishTcp(79));
    EXPECT_EQ(Acknowledged(kBob, 80), 0U);
    Restart({});
    for (CFakeTcp* one : {user, publisher, subscriber}) EXPECT_TRUE(one->released);
}

}  // namespace
