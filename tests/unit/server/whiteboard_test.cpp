// Whiteboards at the server: made for whoever comes first, and kept for a while.
#include "server_host.h"
#include "support/wb_words.h"

#include <gtest/gtest.h>

#include <set>

using session_wire::U32;
using namespace wb_words;

namespace {

/// A client over UDP as the wire shows it.
struct CClient {
    CEndpointAddress address;
    uint32_t id;  // its own
    uint32_t session = 0;
    uint16_t next = 0;
};

class Whiteboard : public testing::Test, protected CServerHost {
protected:
    Whiteboard() : CServerHost(media::kWhiteboard) {}

    CClient Ask(uint32_t id, const CEndpointAddress& address, uint32_t channelID = kChannel) {
        return AskWith(LongRequest(id, channelID, {}), id, address);
    }
    CClient AskWith(const std::string& request, uint32_t id, const CEndpointAddress& address) {
        Take(address);
        Deliver(request, address);
        return {address, id, LastID(address, row.sink.connectAck, 6)};
    }
    /// Acknowledges what has come, which validates the client; gives the frames.
    Texts Frames(CClient& client) {
        Texts frames;
        const std::string head = Datagram(row, row.sink.frame, {client.id, client.session});
        for (Texts come; !(come = Take(client.address)).empty();) {
            for (const std::string& hex : come) {
                const std::string bytes = Hex(hex);
                if (!bytes.starts_with(head) || (bytes.at(head.size() + 2) & 0x1f) != 0) continue;
                const std::string packet = bytes.substr(head.size());
                if (session_wire::IsData(packet)) frames.push_back(session_wire::Payload(packet));
                Say(row.sink.frameAck, client.session, client.address,
                    session_wire::Ack(session_wire::Sequence(packet)));
            }
        }
        return frames;
    }
    /// One that is validated.
    CClient Join(uint32_t id, const CEndpointAddress& address, uint32_t channelID = kChannel) {
        CClient client = Ask(id, address, channelID);
        Frames(client);
        return client;
    }
    void Draw(CClient& client, const std::string& message) {
        Say(row.sink.frameAck, client.session, client.address, session_wire::Data(client.next++, message));
    }
    void Leave(const CClient& client) { Say(row.sink.disconnect, client.session, client.address); }
};

TEST_F(Whiteboard, IsMadeForWhoeverAsksFirstAndJoinsAllTransports) {
    CClient alice = Join(5, kAlice);
    CClient bob = AskWith(Request(6), 6, kBob);  // as a peer would
    EXPECT_EQ(Take(kBob).size(), 2U) << "too short a request for more than its answers";
    EXPECT_FALSE(Validate(row.tcp.receiver, U32(kChannel) + "x"));
    CFakeTcp* tcp = SubscribeTcp();
    CFakeTcp* other = Validate(row.tcp.receiver, U32(kChannel + 1));
    ASSERT_TRUE(tcp && other);
    EXPECT_EQ(tcp->TakeSent().at(0).bytes, Validation(row.tcp.receiver, U32(kChannel)));
    EXPECT_EQ(tcp->maxReceivedFrame, static_cast<unsigned long>(WB_MAX_MESSAGE));
    EXPECT_EQ(Status().channels, 2U);
    Draw(alice, Message(kData, 1, 9, "one"));
    EXPECT_EQ(tcp->TakeFrames(), Texts{Message(kOffer, 1, 9)});
    Draw(alice, Message(kData, 2, 9, std::string(3U << 20, 'x')));
    EXPECT_EQ(tcp->TakeFrames(), Texts{Message(kOffer, 2, 9)}) << "longer than what goes up elsewhere";
    Draw(alice, Message(kDelete, 0, 0, Words({2})));
    tcp->TakeFrames();
    Draw(bob, Message(6, 0, 0, "here"));  // validates it: the list comes now
    EXPECT_EQ(Frames(bob), Texts{Message(kList, 0, 0, Words({1}))});
    EXPECT_EQ(Frames(alice), Texts{Message(6, 0, 0, "here")});
    EXPECT_TRUE(other->TakeFrames().empty()) << "another board";
    Leave(bob);
    EXPECT_EQ(SinkCount(), 3U);
}

TEST_F(Whiteboard, WhoJoinsALargeOneGetsItAsFastAsItReads) {
    constexpr uint32_t kObjects = 60;
    Restart([](CServerOptions& options) { options.limits.sinkQueueBytes = 8000; });
    CClient alice = Join(5, kAlice);
    for (uint32_t id = 1; id <= kObjects; ++id) Draw(alice, Message(kData, id, 0, std::string(1000, 'x')));
    CClient bob = Join(6, kBob);
    CFakeTcp* tcp = SubscribeTcp();
    ASSERT_TRUE(tcp);
    tcp->TakeSent();
    tcp->stalled = true;
    for (uint32_t id = 1; id <= kObjects; ++id) {
        Draw(bob, Message(kRequest, id));
        tcp->Hear(Message(kRequest, id));
    }
    RunFor(3000);
    EXPECT_EQ(SinkCount(), 3U) << "none is too slow";
    EXPECT_LT(tcp->queuedBytes, 6000U);
    Draw(alice, Message(6, 0, 0, "here"));
    std::set<std::string> overUdp;  // some come again while it reads nothing
    size_t overTcp = 0;
    for (int turn = 0; turn < 100; ++turn) {
        for (const std::string& message : Frames(bob)) overUdp.insert(message);
        overTcp += tcp->TakeFrames().size();
        tcp->queuedBytes = 0;
        RunFor(10);
    }
    EXPECT_EQ(overUdp.size(), kObjects + 1) << "and what others did meanwhile";
    EXPECT_EQ(overTcp, kObjects + 1);
}

TEST_F(Whiteboard, IsKeptTenMinutesAfterItsLastSession) {
    CClient alice = Join(5, kAlice), other = Join(8, kCarol, kChannel + 1);
    Draw(alice, Message(kData, 1, 9, "one"));
    Leave(alice);
    const auto pass = [&](int times) {  // 99 s
        for (int i = 0; i < times; ++i) {
            RunFor(99000, 1000);
            Say(row.sink.keepAlive, other.session, kCarol);
        }
    };
    pass(6);
    CClient bob = Ask(6, kBob);
    EXPECT_EQ(Frames(bob), Texts{Message(kList, 0, 0, Words({1}))});
    Leave(bob);
    pass(7);
    EXPECT_EQ(Status().channels, 1U);
    EXPECT_EQ(Status().sinksUdp, 1U) << "the other board's session stays";
    bob = Ask(7, kBob);
    EXPECT_TRUE(Frames(bob).empty()) << "a new board";
    Leave(other);
    RunFor(1100);
    EXPECT_EQ(Status().channels, 1U) << "the other never held anything";
}

TEST_F(Whiteboard, OfWhomNobodyShowedItselfIsGoneWithItsSessions) {
    const CClient alice = Join(1, kAlice);
    for (uint32_t i = 0; i < 3000; ++i) Deliver(LongRequest(5, 1000 + i, {}), {0x20000000 + i, 9});
    EXPECT_LE(Status().channels, server::kMaxUnvalidated + 1);
    EXPECT_LE(Status().unvalidated, server::kMaxUnvalidated);
    const CEndpointAddress last{0x20000000 + 2999, 9};
    const uint32_t session = LastID(last, row.sink.connectAck, 6);
    for (const uint32_t passes : {100000U, 82000U}) {
        Say(row.sink.keepAlive, session, last);
        Say(row.sink.keepAlive, alice.session, kAlice);
        RunFor(passes, 1000);
    }
    EXPECT_EQ(Status().channels, 2U) << "Alice's, and that of the one who answered";
    EXPECT_EQ(Status().unvalidated, 0U);
}

TEST_F(Whiteboard, IsThereUntilWhoWasLetInHasJoined) {
    const std::string request = Request(6).substr(1);
    const int length = static_cast<int>(request.size());
    const wire::CommandRow* command =
        wire::FindCommand(row.kind, reinterpret_cast<const uint8_t*>(request.data()), length);  // NOLINT
    EXPECT_TRUE(server->AdmitCommand({*command, request.data(), length, kBob.ip, kBob.port}));
    RunFor(1001, 1001);
    EXPECT_EQ(Status().channels, 1U);
    RunFor(1001, 1001);
    EXPECT_EQ(Status().channels, 0U) << "it did not join";
}

TEST_F(Whiteboard, GivesWayAtTheLimitOnlyToWhoIsThere) {
    Restart([](CServerOptions& options) { options.limits.channels = 2; });
    Join(5, kAlice);
    Ask(6, kBob, 78);
    EXPECT_NE(Join(7, kCarol, 79).session, 0U) << "in the place of one who never came";
    EXPECT_EQ(Ask(6, kBob, 80).session, 0U);
    EXPECT_FALSE(SubscribeTcp(80));
    Restart([](CServerOptions& options) {
        options.limits.channels = 2;
        options.limits.unvalidatedUdpPerAddress = 1;
    });
    for (const uint32_t id : {6U, 7U}) EXPECT_NE(Ask(id, kBob, 78).session, 0U) << id;
}

}  // namespace
