// The signalling service: who may come, what reaches whom, and what happens to those who say or read too much or too
// little.
#include "server_host.h"

#include <gtest/gtest.h>

using session_wire::U32;

namespace {

constexpr uint32_t kSignalling = 100;

class Signalling : public testing::Test {
protected:
    static CServerOptions FewClients() {
        CServerOptions options = CServerHost::LoopbackOptions();
        options.limits.signallingClients = 3;
        return options;
    }
    /// A client that has come and read its answer; null when it was refused.
    CFakeTcp* Come(uint32_t userID) {
        CFakeTcp* client = host.Validate(kSignalling, U32(userID));
        if (client) client->TakeSent();
        return client;
    }
    static bool Say(CFakeTcp* client, const std::string& frame) {
        return client->sessionNotify->OnTcpSessionNotifyReceivedFrame(frame.data(), static_cast<int>(frame.size()));
    }
    /// What has reached a client, keep-alives left out.
    static std::vector<std::string> Heard(CFakeTcp* client) {
        std::vector<std::string> frames;
        for (const CSentMessage& one : client->TakeSent())
            if (one.bytes.size() >= 4) frames.push_back(one.bytes);
        return frames;
    }
    CSignallingStatus Status() { return host.server->Signalling(); }

    CServerHost host{FewClients()};
    using Frames = std::vector<std::string>;
};

TEST_F(Signalling, AUserIDIsOnesWhoCameWithItFirst) {
    for (const std::string& refused : {U32(0), U32(7) + "x", std::string("7"), std::string()})
        EXPECT_FALSE(host.Validate(kSignalling, refused)) << ToHex(refused);
    host.net.TcpServer().agrees = false;
    EXPECT_FALSE(Come(7));
    host.net.TcpServer().agrees = true;
    CFakeTcp* first = host.Validate(kSignalling, U32(7));
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
    host.Run(1100);
    EXPECT_TRUE(again->released);
    EXPECT_EQ(Status().clients, 2U);
    EXPECT_EQ(host.LastLine(), "signalling user 7 127.0.0.1:50000 left");
    EXPECT_TRUE(Come(10));
}

TEST_F(Signalling, APacketReachesItsTargetAloneAndUnread) {
    CFakeTcp *alice = Come(7), *bob = Come(0xfffffff8), *carol = Come(9);
    ASSERT_TRUE(alice && bob && carol);
    const std::string packet("\0\xff any bytes", 12);
    EXPECT_TRUE(Say(alice, U32(0xfffffff8) + packet));
    EXPECT_TRUE(Say(alice, U32(0xfffffff8)));
    EXPECT_EQ(Heard(bob), (Frames{U32(7) + packet, U32(7)}));
    EXPECT_TRUE(Heard(alice).empty() && Heard(carol).empty());
    EXPECT_TRUE(Say(alice, U32(77) + packet)) << "nobody";
    for (const std::string& keepAlive : {std::string(1, '\0'), std::string(3, '\0')})
        EXPECT_TRUE(Say(alice, keepAlive));
    EXPECT_TRUE(Heard(bob).empty() && Heard(carol).empty());
    EXPECT_TRUE(Say(alice, U32(9) + std::string(64 << 10, 'p')));
    EXPECT_EQ(Heard(carol).at(0).size(), 4U + (64 << 10));
    EXPECT_FALSE(Say(alice, U32(9) + std::string((64 << 10) + 1, 'p'))) << "its connection is closed";
    EXPECT_TRUE(Heard(carol).empty());
    EXPECT_EQ(Status().forwarded, 3U);
    EXPECT_EQ(Status().dropped, 1U);
    host.Run(60000, 1001);
    const auto idle = bob->TakeSent();
    EXPECT_NEAR(static_cast<double>(idle.size()), 60 / 11.0, 1) << "keep-alives show a dead connection";
    for (const CSentMessage& one : idle) EXPECT_EQ(one.bytes, std::string(1, '\0'));
}

TEST_F(Signalling, AHurriedClientIsHeldBackAndClosedWhenItGoesOn) {
    CFakeTcp *alice = Come(7), *bob = Come(8);
    const auto burst = [&](int frames) {
        int open = 0;
        for (int i = 0; i < frames; ++i) open += Say(alice, U32(8) + "p") ? 1 : 0;
        return open;
    };
    EXPECT_EQ(burst(100), 100);
    EXPECT_EQ(Heard(bob).size(), 100U);
    EXPECT_EQ(burst(1), 1);
    EXPECT_TRUE(Heard(bob).empty());
    host.clock.Advance(1000);
    EXPECT_EQ(burst(100), 100);
    EXPECT_EQ(Heard(bob).size(), 100U) << "a second later";
    for (int second = 0; second < 2; ++second) {
        host.clock.Advance(1000);
        EXPECT_EQ(burst(200), 200) << second;
        EXPECT_EQ(Heard(bob).size(), 100U);
    }
    host.clock.Advance(1000);
    EXPECT_EQ(burst(1), 0);
}

TEST_F(Signalling, WhoReadsSlowlyMissesTheNewestAndWhoTakesNothingIsClosed) {
    CFakeTcp *alice = Come(7), *bob = Come(8), *carol = Come(9);
    bob->queuedBytes = (1 << 20) - 4 - 5;
    EXPECT_TRUE(Say(alice, U32(8) + "exact"));
    EXPECT_EQ(Heard(bob).size(), 1U);
    EXPECT_TRUE(Say(alice, U32(8) + "larger"));
    EXPECT_TRUE(Heard(bob).empty());
    EXPECT_EQ(bob->maxStall, 10000U) << "the connection ends by itself when nothing is taken";
    bob->queuedBytes = 0;
    EXPECT_TRUE(Say(alice, U32(8) + "later"));
    EXPECT_EQ(Heard(bob).size(), 1U);
    EXPECT_TRUE(Say(alice, U32(9) + "carol"));
    EXPECT_EQ(Heard(carol).size(), 1U);
    bob->lost = true;
    host.Run(1100);
    EXPECT_TRUE(bob->released);
    EXPECT_FALSE(alice->released || carol->released);
}

TEST_F(Signalling, AtTheEndWhatIsQueuedLeavesFirst) {
    CFakeTcp* alice = Come(7);
    host.server->Drain();
    EXPECT_TRUE(alice->lost) << "closes when its queue is empty";
    EXPECT_FALSE(alice->released);
    EXPECT_FALSE(Come(8));
    host.server->ReleaseConnections();
    EXPECT_TRUE(alice->released);
    host.server = new CTestServer(FewClients(), host.log);
}

}  // namespace
