// Publishers: who may publish, what they are told, and where their frames go.
#include "server_host.h"

#include <gtest/gtest.h>

using session_wire::U32;

namespace {

constexpr uint32_t kChannel = 77;
constexpr CEndpointAddress kAlice{0x0a000001, 1001};
constexpr CEndpointAddress kBob{0x0a000002, 1002};
constexpr CEndpointAddress kCarol{0x0a000003, 1003};

class Sources : public testing::Test {
protected:
    std::string Frame(uint32_t sourceID, uint16_t sequence, const std::string& bytes) {
        return CServerHost::Command("42", sourceID, session_wire::Data(sequence, bytes));
    }
    /// The answers to a connect request, frames and the like left out.
    size_t Acknowledged(const CEndpointAddress& address, uint32_t channelID, uint32_t key) {
        host.Take(address);
        host.Deliver(CServerHost::SourceConnect(channelID, key), address);
        return host.TakeCount(address, "0641");
    }

    /// The source ID of one who has asked and not answered.
    uint32_t Claim(const CEndpointAddress& address, uint32_t key, uint32_t channelID = kChannel) {
        host.Deliver(CServerHost::SourceConnect(channelID, key), address);
        const uint32_t sourceID = host.LastID(address, "0641", 6);
        host.Take(address);
        return sourceID;
    }

    CServerHost host;
};

TEST_F(Sources, AStrangerIsAnsweredWithinItsBudgetAndTheRestFollowsWhenItAnswers) {
    host.Deliver(CServerHost::SourceConnect(kChannel, 5), kAlice);
    const auto first = host.Take(kAlice);
    ASSERT_EQ(first.size(), 2U);
    const std::string id = first[0].substr(12, 8);
    EXPECT_NE(id, "00000000");
    EXPECT_EQ(first[0], "064100000005" + id + "00000000");
    EXPECT_EQ(first[1], "064400000005") << "the question that validates it";
    host.Run(60000);
    EXPECT_EQ(host.Take(kAlice), std::vector<std::string>{first[1]}) << "asked once more: so much is left to say";
    EXPECT_TRUE(host.lines.empty());

    host.Deliver(Hex("0645" + id), kAlice);
    EXPECT_EQ(host.Take(kAlice), (std::vector<std::string>{first[0]})) << "the acknowledgement again, against loss";
    EXPECT_EQ(host.LastLine(), "file source 10.0.0.1:1001 (udp) publishes channel 77");
    EXPECT_EQ(Acknowledged(kAlice, kChannel, 5), 2U) << "asked again by the same sender";
}

TEST_F(Sources, AStrangerIsAskedAgainWithEachRequestWithinItsBudget) {
    constexpr int kHeaders = 28, kRequest = 10 + kHeaders;
    int bytes = 0;
    for (int requests = 1; requests <= 5; ++requests) {
        host.Deliver(CServerHost::SourceConnect(kChannel, 5), kAlice);
        const auto said = host.Take(kAlice);
        ASSERT_EQ(said.size(), 2U) << "its first answers may all have been lost";
        EXPECT_EQ(said[1], "064400000005");
        for (const std::string& one : said) bytes += static_cast<int>(one.size()) / 2 + kHeaders;
        EXPECT_LE(bytes, 3 * requests * kRequest);
    }
    host.Run(60000);
    for (const std::string& one : host.Take(kAlice)) {
        EXPECT_EQ(one, "064400000005");
        bytes += static_cast<int>(one.size()) / 2 + kHeaders;
    }
    EXPECT_LE(bytes, 3 * 5 * kRequest);
    EXPECT_GT(bytes, 3 * 5 * kRequest - 6 - kHeaders) << "until no question fits any more";
}

TEST_F(Sources, IsAskedEveryTwoSecondsAndWhenASubscriberComesOrGoes) {
    host.Publish(kChannel, 5, kAlice);
    host.Run(20000);
    EXPECT_NEAR(static_cast<double>(host.TakeCount(kAlice, "0644")), 10, 1);
    const uint32_t sinkID = host.Subscribe(kChannel, 9, kBob);
    EXPECT_EQ(host.TakeCount(kAlice, "064400000005"), 1U);
    host.Deliver(CServerHost::Command("3f", sinkID), kBob);
    EXPECT_EQ(host.TakeCount(kAlice, "064400000005"), 1U);
    host.Deliver(CServerHost::SinkConnect(10, kChannel), kCarol);
    EXPECT_EQ(host.TakeCount(kAlice, "0644"), 0U) << "a stranger's request is no change";
}

TEST_F(Sources, WhoShowsItselfFirstPublishes) {
    EXPECT_EQ(Acknowledged(kCarol, 0, 7), 0U) << "channel 0 does not exist";
    const uint32_t alice = Claim(kAlice, 5), bob = Claim(kBob, 5);
    EXPECT_NE(alice, bob) << "the same key, but from another address";
    host.Deliver(CServerHost::Command("45", bob), kAlice);
    EXPECT_EQ(host.LastLine(), "") << "somebody else's claim";
    host.Deliver(CServerHost::Command("45", bob), kBob);
    EXPECT_EQ(host.LastLine(), "file source 10.0.0.2:1002 (udp) publishes channel 77");
    host.Deliver(CServerHost::Command("45", alice), kAlice);
    host.Run(5000);
    EXPECT_EQ(host.lines.size(), 1U) << "the others are ended";
    EXPECT_EQ(host.server->Media()[0].unvalidated, 0U);
    EXPECT_EQ(Acknowledged(kBob, kChannel, 5), 2U) << "the sender itself, again";

    Claim(kCarol, 6, kChannel + 1);
    EXPECT_TRUE(host.Validate(12, U32(kChannel + 1))) << "a claim keeps nobody out";
    EXPECT_EQ(host.server->Media()[0].unvalidated, 0U);
}

// The challenger comes over UDP or TCP; who holds the channel says something when it is asked, or nothing.
TEST_F(Sources, APublisherThatDoesNotAnswerThreeTimesGivesWayToAChallenger) {
    for (const bool tcp : {false, true}) {
        for (const char* answer : {"", "45"}) {
            SCOPED_TRACE(std::string(tcp ? "tcp " : "udp ") + answer);
            host.Run(2000);
            const uint32_t alice = host.Publish(kChannel, 5, kAlice);
            host.Take(kAlice);
            const uint32_t bob = tcp ? 0 : Claim(kBob, 6);
            CFakeTcp* session = tcp ? host.Validate(12, U32(kChannel)) : nullptr;
            if (!tcp) host.Deliver(CServerHost::Command("45", bob), kBob);
            EXPECT_EQ(host.TakeCount(kAlice, "0644"), 1U);
            host.Run(2900);
            EXPECT_EQ(host.TakeCount(kAlice, "0644"), 2U);
            EXPECT_TRUE(tcp ? session->sent.empty() : host.Take(kBob).empty()) << "until that is decided";
            if (*answer) host.Deliver(CServerHost::Command(answer, alice), kAlice);
            host.Run(200);
            EXPECT_EQ(tcp ? !session->sent.empty() : host.TakeCount(kBob, "0641") == 1, !*answer);
            EXPECT_EQ(tcp && session->released, tcp && *answer);
            EXPECT_EQ(!tcp && *answer ? Acknowledged(kBob, kChannel, 8) : 0, 0U) << "so that it notices";
            host.Deliver(CServerHost::Command("46", *answer ? alice : bob), *answer ? kAlice : kBob);
            if (tcp) session->lost = true;
        }
    }
    host.Run(20000);
    EXPECT_NE(Acknowledged(kBob, kChannel, 8), 0U) << "it may try again later";
}

TEST_F(Sources, AnswersForAChannelUntilOthersKeepIt) {
    CServerOptions options = CServerHost::LoopbackOptions();
    options.limits.channelsPerAddress = 2;
    host.Restart(options);
    const uint32_t first = host.Publish(kChannel, 5, kAlice);
    const uint32_t second = host.Publish(kChannel + 1, 5, kAlice);
    host.Subscribe(kChannel, 9, kBob);
    host.Deliver(CServerHost::SinkConnect(10, kChannel + 1), kCarol);  // and is not validated
    for (const uint32_t id : {first, second}) host.Deliver(CServerHost::Command("46", id), kAlice);
    EXPECT_EQ(host.Publish(kChannel + 2, 5, kAlice), 0U);
    host.Run(1100);
    EXPECT_NE(host.Publish(kChannel + 2, 5, kAlice), 0U) << "the first is Bob's, who listens";
    EXPECT_EQ(host.Publish(kChannel + 3, 5, kAlice), 0U) << "the second is still hers";
    host.Publish(kChannel + 4, 5, kBob);
    EXPECT_EQ(host.Publish(kChannel + 5, 5, kBob), 0U);
}

TEST_F(Sources, AWaitingTcpChallengerIsAConnectionOfItsAddress) {
    CServerOptions options = CServerHost::LoopbackOptions();
    options.limits.connections = 8;
    options.trusted.emplace();
    host.Restart(options);
    for (uint32_t i = 0; i < 3; ++i) host.Publish(kChannel + i, 5, kAlice);
    CFakeTcp* loses = host.Validate(12, U32(kChannel));
    EXPECT_TRUE(loses);
    EXPECT_TRUE(host.Validate(12, U32(kChannel + 1)));
    EXPECT_FALSE(host.Validate(12, U32(kChannel + 2))) << "a quarter is two";
    loses->lost = true;
    host.Run(100);
    EXPECT_TRUE(host.Validate(12, U32(kChannel + 2)));
}

TEST_F(Sources, IsNotAskedWithoutEndForOneChallengerAfterTheOther) {
    const uint32_t alice = host.Publish(kChannel, 5, kAlice);
    for (uint32_t key = 6; key < 100; ++key) {
        const CEndpointAddress challenger{kBob.ip, static_cast<uint16_t>(2000 + key)};
        host.Deliver(CServerHost::Command("45", Claim(challenger, key)), challenger);
        host.Deliver(CServerHost::Command("45", alice), kAlice);
        host.Run(100);
    }
    EXPECT_LE(host.TakeCount(kAlice, "0644"), 12U) << "in nine seconds";
}

TEST_F(Sources, FramesGoToSubscribersWholeAndOnlyFromTheRightAddress) {
    const uint32_t sourceID = host.Publish(kChannel, 5, kAlice);
    const uint32_t sinkID = host.Subscribe(kChannel, 9, kBob);
    CFakeTcp* tcp = host.Validate(13, U32(kChannel));
    ASSERT_TRUE(tcp);
    tcp->TakeSent();
    host.Take(kAlice);
    host.Deliver(Frame(sourceID, 0, "frame"), kBob);
    EXPECT_TRUE(host.Take(kAlice).empty());
    host.Deliver(Frame(sourceID, 0, "frame"), kAlice);
    // Acknowledged with the largest window that five bits can say.
    EXPECT_EQ(host.Take(kAlice), (std::vector<std::string>{"064300000005" + std::string("000021f80000000000000000")}));
    const auto down = host.Take(kBob);
    ASSERT_EQ(down.size(), 1U);
    EXPECT_EQ(down[0].substr(0, 20), "063d00000009" + ToHex(U32(sinkID)));
    EXPECT_EQ(down[0].substr(44), ToHex("frame"));
    ASSERT_EQ(tcp->sent.size(), 1U);
    EXPECT_EQ(tcp->sent[0].bytes, "frame");
    host.Deliver(Frame(sourceID, 1, "x"), kAlice);
    EXPECT_EQ(host.TakeCount(kBob, "063d"), 0U) << "a keep-alive of TCP links is no frame";
}

TEST_F(Sources, SubscribersFramesGoUpWholeAndNeverDown) {
    host.Publish(kChannel, 5, kAlice);
    const uint32_t sinkID = host.Subscribe(kChannel, 9, kBob);
    CFakeTcp* tcp = host.Validate(13, U32(kChannel));
    host.Take(kAlice);
    tcp->TakeSent();
    host.Deliver(CServerHost::Command("3e", sinkID, session_wire::Data(0, "up")), kBob);
    const auto up = host.Take(kAlice);
    ASSERT_EQ(up.size(), 1U);
    EXPECT_EQ(up[0].substr(0, 12), "064300000005");
    EXPECT_EQ(up[0].substr(36), ToHex("up"));
    EXPECT_TRUE(tcp->sent.empty());
    EXPECT_TRUE(tcp->sessionNotify->OnTcpSessionNotifyReceivedFrame("over tcp", 8));
    EXPECT_EQ(host.server->Media()[0].traffic.framesUp, 2U);
}

TEST_F(Sources, LeavesOrIsForgottenAndItsSubscribersHearTheNextOne) {
    const uint32_t first = host.Publish(kChannel, 5, kAlice);
    host.Subscribe(kChannel, 9, kBob);
    host.Deliver(CServerHost::Command("46", first), kCarol);
    EXPECT_EQ(host.server->Media()[0].sourcesUdp, 1U) << "somebody else's goodbye is nobody's";
    host.Deliver(CServerHost::Command("46", first), kAlice);
    EXPECT_EQ(host.LastLine(), "file source 10.0.0.1:1001 (udp) left channel 77");
    const uint32_t second = host.Publish(kChannel, 6, kCarol);
    host.Deliver(Frame(second, 0, "again"), kCarol);
    EXPECT_EQ(host.TakeCount(kBob, "063d"), 1U);

    host.Run(179000, 1001);
    EXPECT_GT(host.TakeCount(kCarol, "0644"), 80U) << "kept, and still asked";
    host.Run(3000, 1001);
    host.Take(kCarol);
    host.Run(10000, 1001);
    EXPECT_TRUE(host.Take(kCarol).empty());
    EXPECT_EQ(host.server->Media()[0].sourcesUdp, 0U);
}

TEST_F(Sources, AChannelWithoutAnybodyGoesAfterAMinute) {
    const uint32_t sourceID = host.Publish(kChannel, 5, kAlice);
    host.Deliver(CServerHost::Command("46", sourceID), kAlice);
    host.Run(59000, 1001);
    EXPECT_EQ(host.server->Media()[0].channels, 1U);
    const uint32_t sinkID = host.Subscribe(kChannel, 9, kBob);
    EXPECT_NE(sinkID, 0U) << "at home here, with or without a publisher";
    host.Run(120000, 1001);
    EXPECT_EQ(host.server->Media()[0].channels, 1U) << "somebody listens";
    host.Deliver(CServerHost::Command("3f", sinkID), kBob);
    host.Run(63000, 1001);
    EXPECT_EQ(host.server->Media()[0].channels, 0U);
    host.Deliver(CServerHost::SinkConnect(9, kChannel), kBob);
    EXPECT_TRUE(host.Take(kBob).empty());
}

TEST_F(Sources, OverTcpItLivesAsLongAsItsConnection) {
    EXPECT_FALSE(host.Validate(12, U32(0)));
    EXPECT_FALSE(host.Validate(12, U32(kChannel) + "x"));
    EXPECT_FALSE(host.Validate(12, ""));
    CFakeTcp* publisher = host.Validate(12, U32(kChannel));
    ASSERT_TRUE(publisher);
    ASSERT_EQ(publisher->sent.size(), 1U);
    EXPECT_EQ(publisher->sent[0].mode, 1);
    EXPECT_EQ(ToHex(publisher->TakeSent()[0].bytes), "0000000c000000040000004d");
    EXPECT_FALSE(host.Validate(12, U32(kChannel)));
    EXPECT_EQ(Acknowledged(kAlice, kChannel, 5), 0U);
    host.Run(200000, 1001);
    EXPECT_EQ(Acknowledged(kAlice, kChannel, 5), 0U) << "silence is no reason";
    const auto idle = publisher->TakeSent();
    EXPECT_NEAR(static_cast<double>(idle.size()), 200 / 11.0, 2) << "keep-alives show a dead connection";
    for (const CSentMessage& one : idle) EXPECT_EQ(one.bytes, std::string(1, '\0'));

    host.Subscribe(kChannel, 9, kBob);
    EXPECT_TRUE(publisher->sessionNotify->OnTcpSessionNotifyReceivedFrame("down", 4));
    EXPECT_EQ(host.TakeCount(kBob, "063d"), 1U);
    publisher->lost = true;
    EXPECT_TRUE(host.Validate(12, U32(kChannel))) << "as soon as the connection is gone";
    EXPECT_TRUE(publisher->released);
}

TEST_F(Sources, AtTheEndTcpQueuesDrainAndEverythingIsReleased) {
    CFakeTcp* publisher = host.Validate(12, U32(kChannel));
    CFakeTcp* subscriber = host.Validate(13, U32(kChannel));
    host.Publish(78, 5, kAlice);
    host.server->Drain();
    EXPECT_TRUE(publisher->lost) << "closes when its queue is empty";
    EXPECT_TRUE(subscriber->lost);
    EXPECT_FALSE(host.Validate(12, U32(79)));
    EXPECT_EQ(Acknowledged(kBob, 80, 6), 0U);
    host.server->ReleaseConnections();
    EXPECT_TRUE(publisher->released);
    EXPECT_TRUE(subscriber->released);
    host.server = new CTestServer(CServerHost::LoopbackOptions(), host.log);
}

}  // namespace
