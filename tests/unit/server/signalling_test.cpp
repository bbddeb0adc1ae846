// How peers find each other at the server: who may come to the signalling service, what reaches whom, what happens to
// those who say or read too much or too little; and what askers hear of their own address.
#include "server/signalling/reflector.h"

#include "server_host.h"

#include <gtest/gtest.h>

using session_wire::U32;

namespace {

class Signalling : public testing::Test, protected CServerHost {
protected:
    Signalling() : CServerHost(media::kFile, [](CServerOptions& options) { options.limits.signallingClients = 3; }) {}

    CFakeTcp* Knock(const std::string& payload) { return Validate(wire::TcpType::Signalling, payload); }
    /// A client that has come and read its answer; null when it was refused.
    CFakeTcp* Come(uint32_t userID) {
        CFakeTcp* client = Knock(U32(userID));
        if (client) client->TakeSent();
        return client;
    }
    CSignallingStatus Now() { return server->Signalling(); }
};

TEST_F(Signalling, AUserIDIsOnesWhoCameWithItFirst) {
    for (const std::string& refused : {U32(0), U32(7) + "x", std::string("7"), std::string()})
        EXPECT_FALSE(Knock(refused)) << ToHex(refused);
    net.TcpServer().agrees = false;
    EXPECT_FALSE(Come(7));
    net.TcpServer().agrees = true;
    CFakeTcp* first = Knock(U32(7));
    ASSERT_TRUE(first);
    ASSERT_EQ(first->sent.size(), 1U);
    EXPECT_EQ(first->sent[0].mode, 1);
    EXPECT_EQ(ToHex(first->sent[0].bytes), "000000640000000400000007");
    EXPECT_FALSE(Come(7));
    EXPECT_TRUE(Come(8) && Come(9));
    EXPECT_FALSE(Come(10)) << "three are the most";
    first->lost = true;
    CFakeTcp* again = Come(7);
    ASSERT_TRUE(again) << "the old connection is gone";
    EXPECT_TRUE(first->released);
    again->lost = true;
    RunFor(1100);
    EXPECT_TRUE(again->released);
    EXPECT_EQ(Now().clients, 2U);
    EXPECT_EQ(LastLine(), "signalling user 7 127.0.0.1:50000 left");
    EXPECT_TRUE(Come(10));
}

TEST_F(Signalling, APacketReachesItsTargetAloneAndUnread) {
    CFakeTcp *alice = Come(7), *bob = Come(0xfffffff8), *carol = Come(9);
    ASSERT_TRUE(alice && bob && carol);
    const std::string packet("\0\xff any bytes", 12);
    EXPECT_TRUE(alice->Hear(U32(0xfffffff8) + packet));
    EXPECT_TRUE(alice->Hear(U32(0xfffffff8)));
    EXPECT_EQ(bob->TakeFrames(), (Texts{U32(7) + packet, U32(7)}));
    for (const std::string& none : {U32(77) + packet, std::string(1, '\0'), std::string(3, '\0')})
        EXPECT_TRUE(alice->Hear(none)) << "to nobody, or a keep-alive";
    EXPECT_TRUE(alice->sent.empty() && bob->sent.empty() && carol->sent.empty());
    EXPECT_TRUE(alice->Hear(U32(9) + std::string(64 << 10, 'p')));
    EXPECT_EQ(carol->TakeFrames().at(0).size(), 4U + (64 << 10));
    EXPECT_FALSE(alice->Hear(U32(9) + std::string((64 << 10) + 1, 'p'))) << "its connection is closed";
    EXPECT_TRUE(carol->sent.empty());
    EXPECT_EQ(Now().forwarded, 3U);
    EXPECT_EQ(Now().dropped, 1U);
    RunFor(60000, 1001);
    const Texts idle = bob->TakeFrames();
    EXPECT_NEAR(static_cast<double>(idle.size()), 60 / 11.0, 1) << "keep-alives show a dead connection";
    EXPECT_EQ(idle, Texts(idle.size(), std::string(1, '\0')));
}

TEST_F(Signalling, AHurriedClientIsHeldBackAndClosedWhenItGoesOn) {
    CFakeTcp *alice = Come(7), *bob = Come(8);
    const auto burst = [&](int frames) {
        int open = 0;
        for (int i = 0; i < frames; ++i) open += alice->Hear(U32(8) + "p") ? 1 : 0;
        return open;
    };
    EXPECT_EQ(burst(101), 101);
    EXPECT_EQ(bob->TakeFrames().size(), 100U);
    clock.Advance(1000);
    EXPECT_EQ(burst(100), 100);
    EXPECT_EQ(bob->TakeFrames().size(), 100U) << "a second later";
    for (int second = 0; second < 2; ++second) {
        clock.Advance(1000);
        EXPECT_EQ(burst(200), 200) << second;
        EXPECT_EQ(bob->TakeFrames().size(), 100U);
    }
    clock.Advance(1000);
    EXPECT_EQ(burst(1), 0);
}

TEST_F(Signalling, WhoReadsSlowlyMissesTheNewestAndWhoTakesNothingIsClosed) {
    CFakeTcp *alice = Come(7), *bob = Come(8), *carol = Come(9);
    const auto reaches = [&](CFakeTcp* reader, uint32_t userID, const std::string& packet) {
        EXPECT_TRUE(alice->Hear(U32(userID) + packet));
        return reader->TakeFrames().size() == 1;
    };
    bob->queuedBytes = (1 << 20) - 4 - 5;
    EXPECT_TRUE(reaches(bob, 8, "exact"));
    EXPECT_FALSE(reaches(bob, 8, "larger"));
    EXPECT_TRUE(reaches(carol, 9, "larger"));
    EXPECT_EQ(bob->maxStall, 10000U) << "the connection ends by itself when nothing is taken";
    bob->queuedBytes = 0;
    EXPECT_TRUE(reaches(bob, 8, "later"));
}

TEST(Reflector, TellsThoseWhoMayAskTheirAddressOnBothPorts) {
    const CCidrList allow{{0x0a000000, 8}};
    CServerHost host(media::kFile, [&](CServerOptions& options) { options.allow = allow; });
    CReflector second([&allow](uint32_t ip) { return allow.empty() || Contains(allow, ip); });
    ASSERT_TRUE(second.Open(0x7f000001, 0));
    for (const auto& endpoint : host.net.udps) {
        const auto answer = [&](const char* said, uint32_t ip) {
            endpoint->Deliver(Hex(said), ip, 0xfffe);
            std::string answers;
            for (const CSentDatagram& one : endpoint->TakeSent())
                answers += EndpointText(one.ip, one.port) + " " + ToHex(one.bytes);
            return answers;
        };
        EXPECT_EQ(answer("07", 0x0a000001), "10.0.0.1:65534 070a000001fffe");
        for (const char* other : {"0700", "070a000001fffe", "07 0a000001 fffe 00", "08", "02"})
            EXPECT_EQ(answer(other, 0x0a000001), "") << "an answer, or something else";
        EXPECT_EQ(answer("07", 0x0b000001), "") << "one who may not ask";
    }
}

}  // namespace
