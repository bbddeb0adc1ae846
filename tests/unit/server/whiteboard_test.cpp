// Whiteboards at the server: made for whoever comes first, kept for a while, joined to those of other servers.
#include "server_host.h"
#include "support/wb_words.h"
#include "whiteboard/local_mcu_wb.h"
#include "whiteboard/wb_memory.h"

#include <gtest/gtest.h>

#include <set>

using session_wire::ReadU32;
using session_wire::U32;
using namespace wb_words;

namespace {

constexpr uint32_t kChannel = 77;
constexpr CEndpointAddress kAlice{0x0a000001, 1001};
constexpr CEndpointAddress kBob{0x0a000002, 1002};
constexpr CEndpointAddress kCarol{0x0a000003, 1003};
constexpr CEndpointAddress kFar{0x7f000009, 7005};
std::string U16(uint16_t value) { return U32(value).substr(2); }

/// A client over UDP as the wire shows it.
struct CClient {
    CEndpointAddress address;
    uint32_t id;  // its own
    uint32_t session = 0;
    uint16_t next = 0;
};

class Whiteboard : public testing::Test {
protected:
    explicit Whiteboard(const CServerOptions& options = CServerHost::LoopbackOptions()) : host(options) {}

    static std::string LongConnect(uint32_t id, uint32_t channelID, uint32_t ip = 0, uint16_t port = 0) {
        return Hex("0424") + U32(id) + U32(channelID) + U32(ip) + U32(0) + U32(0) + U16(port);
    }
    static std::string TcpRequest(uint32_t channelID, uint32_t ip = 0, uint16_t port = 0) {
        return U32(channelID) + U32(ip) + U32(0) + U32(0) + U16(port);
    }
    CClient Ask(uint32_t id, const CEndpointAddress& address, const std::string& request) {
        host.Take(address);
        host.Deliver(request, address);
        return {address, id, host.LastID(address, "0425", 6)};
    }
    /// Acknowledges what has come; gives the frames. The first acknowledgement validates the client.
    std::vector<std::string> Take(CClient& client) {
        std::vector<std::string> frames;
        const std::string head = Hex("042a") + U32(client.id) + U32(client.session);
        for (bool more = true; more;) {
            more = false;
            for (const std::string& hex : host.Take(client.address)) {
                const std::string bytes = Hex(hex);
                if (bytes.compare(0, 10, head) != 0 || (bytes[12] & 0x1f) != 0) continue;
                const std::string packet = bytes.substr(10);
                if (packet.size() > 12) frames.push_back(session_wire::Payload(packet));
                host.Deliver(Hex("0429") + U32(client.session) + session_wire::Ack(session_wire::Sequence(packet)),
                             client.address);
                more = true;
            }
        }
        return frames;
    }
    /// One that has asked this server and is validated.
    CClient Join(uint32_t id, const CEndpointAddress& address, uint32_t channelID = kChannel) {
        CClient client = Ask(id, address, LongConnect(id, channelID));
        Take(client);
        return client;
    }
    void Say(CClient& client, const std::string& message) {
        host.Deliver(Hex("0429") + U32(client.session) + session_wire::Data(client.next++, message), client.address);
    }
    static void FromPeer(CFakeTcp& session, const std::string& frame) { CServerHost::FromPeer(session, frame); }
    static std::vector<std::string> Frames(CFakeTcp& session) { return CServerHost::Frames(session); }
    CMediumStatus Status() {
        for (const CMediumStatus& one : host.server->Media())
            if (std::string(one.medium) == "whiteboard") return one;
        return {};
    }

    using Texts = std::vector<std::string>;
    CServerHost host;
};

TEST_F(Whiteboard, IsMadeForWhoeverAsksFirstAndJoinsAllTransports) {
    CClient alice = Join(5, kAlice);
    EXPECT_EQ(host.LastLine(), "whiteboard sink 10.0.0.1:1001 (udp) came to channel 77");
    CClient bob = Ask(6, kBob, Hex("0424") + U32(6) + U32(kChannel));  // as a peer would
    ASSERT_NE(bob.session, 0U);
    for (const size_t length : {0U, 3U, 5U, 17U, 19U}) EXPECT_FALSE(host.Validate(9, std::string(length, 'x')));
    CFakeTcp* tcp = host.Validate(9, TcpRequest(kChannel));
    CFakeTcp* other = host.Validate(9, U32(kChannel + 1));
    ASSERT_TRUE(tcp && other);
    EXPECT_EQ(tcp->TakeSent().at(0).bytes, U32(9) + U32(4) + U32(kChannel));
    EXPECT_EQ(Status().channels, 2U);
    Say(alice, Message(kData, 1, 9, "one"));
    EXPECT_EQ(Frames(*tcp), Texts{Message(kOffer, 1, 9)});
    FromPeer(*tcp, Message(kRequest, 1));
    EXPECT_EQ(Frames(*tcp), Texts{Message(kData, 1, 9, "one")});
    Say(bob, Message(6, 0, 0, "here"));  // validates it: the list comes now
    EXPECT_EQ(Take(bob), Texts{Message(kList, 0, 0, Words({1}))});
    EXPECT_EQ(Take(alice), Texts{Message(6, 0, 0, "here")});
    EXPECT_TRUE(Frames(*other).empty()) << "another board";
    host.Deliver(Hex("0426") + U32(bob.session), kAlice);
    EXPECT_EQ(Status().sinksUdp, 2U) << "said by somebody else";
    host.Deliver(Hex("0426") + U32(bob.session), kBob);
    EXPECT_EQ(Status().sinksUdp, 1U);
    EXPECT_EQ(Status().sinksTcp, 2U);
}

/// Little may wait for one client.
class NarrowWhiteboard : public Whiteboard {
protected:
    NarrowWhiteboard() : Whiteboard(Options()) {}
    static CServerOptions Options() {
        CServerOptions options = CServerHost::LoopbackOptions();
        options.limits.sinkQueueBytes = 8000;
        return options;
    }
};

TEST_F(NarrowWhiteboard, WhoJoinsALargeOneGetsItAsFastAsItReads) {
    constexpr uint32_t kObjects = 60;
    CClient alice = Join(5, kAlice);
    for (uint32_t id = 1; id <= kObjects; ++id) Say(alice, Message(kData, id, 0, std::string(1000, 'x')));
    CClient bob = Join(6, kBob);
    CFakeTcp* tcp = host.Validate(9, TcpRequest(kChannel));
    ASSERT_TRUE(tcp);
    Frames(*tcp);
    tcp->stalled = true;
    for (uint32_t id = 1; id <= kObjects; ++id) {
        Say(bob, Message(kRequest, id));
        FromPeer(*tcp, Message(kRequest, id));
    }
    host.Run(3000);
    EXPECT_EQ(Status().sinksUdp + Status().sinksTcp, 3U) << "none is too slow";
    EXPECT_LT(tcp->queuedBytes, 6000U);
    Say(alice, Message(6, 0, 0, "here"));
    std::set<std::string> overUdp;  // some come again while it reads nothing
    size_t overTcp = 0;
    for (int turn = 0; turn < 100; ++turn) {
        for (const std::string& message : Take(bob)) overUdp.insert(message);
        overTcp += Frames(*tcp).size();
        tcp->queuedBytes = 0;
        host.Run(10);
    }
    EXPECT_EQ(overUdp.size(), kObjects + 1) << "and what others did meanwhile";
    EXPECT_EQ(overTcp, kObjects + 1);
}

TEST_F(Whiteboard, SendsNothingLongToAnUnvalidatedClient) {
    CClient alice = Join(5, kAlice);
    for (uint32_t id = 1; id <= 1000; ++id) Say(alice, Message(kData, id, 0, std::string(100, 'x')));
    host.Take(kAlice);
    const std::string request = LongConnect(6, kChannel);
    size_t bytes = 0, packets = 0;
    for (int again = 0; again < 5; ++again) {
        host.Deliver(request, kBob);
        for (const std::string& hex : host.Take(kBob)) {
            bytes += hex.size() / 2 + 28;
            packets += hex.compare(0, 4, "042a") == 0;
        }
        host.Run(1000);
        for (const std::string& hex : host.Take(kBob)) bytes += hex.size() / 2 + 28;
        EXPECT_LE(bytes, static_cast<size_t>(again + 1) * 3 * (request.size() + 28));
    }
    EXPECT_EQ(packets, 3U);
    EXPECT_EQ(Status().unvalidated, 1U);
    host.Deliver(Hex("0424") + U32(7) + U32(kChannel), kCarol);  // too short a request for more than its answers
    EXPECT_EQ(host.Take(kCarol).size(), 2U);
}

TEST_F(Whiteboard, IsKeptTenMinutesAfterItsLastSession) {
    CClient alice = Join(5, kAlice);
    CClient other = Join(8, kCarol, kChannel + 1);
    Say(alice, Message(kData, 1, 9, "one"));
    host.Deliver(Hex("0426") + U32(alice.session), kAlice);
    const auto keepOther = [&](uint32_t milliseconds) {
        for (uint32_t passed = 0; passed < milliseconds; passed += 100000) {
            host.Run(std::min(100000U, milliseconds - passed), 1000);
            host.Deliver(Hex("0427") + U32(other.session), kCarol);
        }
    };
    keepOther(595000);
    CClient bob = Ask(6, kBob, LongConnect(6, kChannel));
    EXPECT_EQ(Take(bob), Texts{Message(kList, 0, 0, Words({1}))});
    host.Deliver(Hex("0426") + U32(bob.session), kBob);
    keepOther(605000);
    EXPECT_EQ(Status().channels, 1U);
    EXPECT_EQ(Status().sinksUdp, 1U) << "the other board's session stays";
    bob = Ask(7, kBob, LongConnect(7, kChannel));
    EXPECT_TRUE(Take(bob).empty()) << "a new board";
    host.Deliver(Hex("0426") + U32(other.session), kCarol);
    host.Run(1100);
    EXPECT_EQ(Status().channels, 1U) << "the other never held anything";
}

TEST_F(Whiteboard, OfWhomNobodyShowedItselfIsGoneWithItsSessions) {
    const CClient alice = Join(1, kAlice);
    const size_t boards = 3000;
    for (uint32_t i = 0; i < boards; ++i) host.Deliver(LongConnect(5, 1000 + i), {0x20000000 + i, 9});
    EXPECT_LE(Status().channels, server::kMaxUnvalidated + 1);
    EXPECT_LE(Status().unvalidated, server::kMaxUnvalidated);
    const CEndpointAddress last{0x20000000 + boards - 1, 9};
    const uint32_t session = host.LastID(last, "0425", 6);
    for (const uint32_t passes : {100000U, 82000U}) {
        host.Deliver(Hex("0427") + U32(session), last);
        host.Deliver(Hex("0427") + U32(alice.session), kAlice);
        host.Run(passes, 1000);
    }
    EXPECT_EQ(Status().channels, 2U) << "Alice's, and that of the one who answered";
    EXPECT_EQ(Status().unvalidated, 0U);
}

TEST_F(Whiteboard, IsThereUntilWhoWasLetInHasJoined) {
    const std::string request = Hex("24") + U32(6) + U32(kChannel);
    const int length = static_cast<int>(request.size());
    const wire::CommandRow* row =
        wire::FindCommand(wire::Kind::Whiteboard, reinterpret_cast<const uint8_t*>(request.data()), length);  // NOLINT
    EXPECT_TRUE(host.server->AdmitCommand({*row, request.data(), length, kBob.ip, kBob.port}));
    host.Run(1001, 1001);
    EXPECT_EQ(Status().channels, 1U);
    host.Run(1001, 1001);
    EXPECT_EQ(Status().channels, 0U) << "it did not join";
}

TEST_F(Whiteboard, GivesWayAtTheLimitOnlyToWhoIsThere) {
    CServerOptions options = CServerHost::LoopbackOptions();
    options.limits.channels = 2;
    options.limits.boardBytes = 8000;
    host.Restart(options);
    CClient alice = Join(5, kAlice);
    Ask(6, kBob, LongConnect(6, 78));
    CClient carol = Join(7, kCarol, 79);
    EXPECT_NE(carol.session, 0U) << "in the place of one who never came";
    EXPECT_EQ(Ask(6, kBob, LongConnect(6, 80)).session, 0U);
    EXPECT_FALSE(host.Validate(9, U32(80)));
    for (const uint32_t object : {1U, 2U}) Say(alice, Message(kData, object, 9, std::string(1000, 'x')));
    EXPECT_EQ(Take(alice), Texts{Message(kDelete, 2, 9, Words({2}))}) << "her address has its quarter";
    EXPECT_EQ(CWBMemory::Get().Used() / 1000, 1U);
    Say(carol, Message(kData, 2, 0, std::string(1000, 'x')));
    Say(carol, Message(kRequest, 2));
    EXPECT_EQ(Take(carol).size(), 1U);
    options.limits.unvalidatedUdpPerAddress = 1;
    host.Restart(options);
    for (const uint32_t id : {6U, 7U}) EXPECT_NE(Ask(id, kBob, LongConnect(id, 78)).session, 0U) << id;
}

TEST_F(Whiteboard, OfAnotherServerIsJoinedOnceForAllAndLeftAfterTheLast) {
    CClient bob = Ask(9, kBob, LongConnect(9, kChannel, kFar.ip, kFar.port));
    CClient own = Join(11, kAlice);
    Say(own, Message(kData, 4, 0, "here"));
    const auto asked = host.Take(kFar);
    ASSERT_EQ(asked.size(), 1U);
    const uint32_t leg = ReadU32(Hex(asked[0]), 2);
    host.Deliver(Hex("0425") + U32(leg) + U32(600), kFar);
    host.Run(100);
    bob.session = host.LastID(kBob, "0425", 6);
    ASSERT_NE(bob.session, 0U);
    EXPECT_TRUE(Take(bob).empty()) << "nothing of the board here";
    EXPECT_EQ(host.LastLine(), "whiteboard sink 10.0.0.2:1002 (udp) came to channel 77 of 127.0.0.9:7005");
    EXPECT_NE(Ask(10, kCarol, LongConnect(10, kChannel, kFar.ip, kFar.port)).session, 0U) << "at once, now";
    EXPECT_EQ(host.TakeCount(kFar, "0424"), 0U);
    EXPECT_EQ(Status().sinksUdp, 2U) << "the leg is none, nor is an unvalidated one";

    host.Deliver(Hex("0426") + U32(host.LastID(kCarol, "0425", 6)), kCarol);
    host.Deliver(Hex("0426") + U32(bob.session), kBob);
    host.Run(9000, 1000);
    EXPECT_EQ(host.TakeCount(kFar, "0426"), 0U);
    host.Run(4000, 1000);
    EXPECT_EQ(host.TakeCount(kFar, "0426"), 3U);
    EXPECT_EQ(Status().channels, 1U) << "the board here stays";
    CFakeTcp* late = host.Validate(9, TcpRequest(kChannel + 1, kFar.ip, kFar.port));
    ASSERT_TRUE(late);
    host.Run(7000, 1000);
    EXPECT_TRUE(late->released) << "its far server has not answered";
}

}  // namespace
