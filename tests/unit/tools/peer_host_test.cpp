// Which of the library's links counts as the one to a peer, and when a host's number is another one's.
#include "tools/lumo/net/peer_host.h"
#include "support/fake_net.h"

#include <gtest/gtest.h>

namespace {

TEST(PeerHost, ALinkIsThePeersAtAnyOfItsAddressesWhereverItsLastProbeCameFrom) {
    P2PPeer peer{};
    peer.ulNATIP = 0xcb007101;
    peer.usNATUDPPort = 4000;
    peer.ulLocalIP = 0x0a000102;
    peer.usLocalUDPPort = 5000;
    peer.ulHeardIP = 0x06060606;
    peer.usHeardPort = 6000;
    const struct {
        unsigned long ip;
        unsigned short port;
        bool is;
    } rows[] = {{0xcb007101, 4000, true},
                {0x0a000102, 5000, true},
                {0x06060606, 6000, true},
                {0xcb007101, 5000, false},
                {0x0a000102, 4000, false},
                {0x06060606, 4000, false},
                {0, 0, false}};
    for (const auto& row : rows) {
        LumoLinkStatistics link{};
        link.ulRemoteIP = row.ip;
        link.usRemotePort = row.port;
        EXPECT_EQ(lumo::IsFarSide(link, peer), row.is) << std::hex << row.ip << ':' << row.port;
    }
    const LumoLinkStatistics unconnected{};
    EXPECT_FALSE(lumo::IsFarSide(unconnected, P2PPeer{})) << "neither address is known";
}

/// A registered host, whose service does not take it any more.
class PeerHostWithout : public ::testing::Test {
protected:
    PeerHostWithout() : m_host(Options()) {
        m_host.Poll(m_now);
        m_net.Udp().Deliver(Hex("07 01020304 abcd"), 0x7f000001, 7000);
        Poll(1);
        Take();
    }
    static lumo::PeerOptions Options() {
        lumo::PeerOptions options;
        options.peers = true;
        options.userID = 21;
        options.mcu = {"127.0.0.1", 7000, {0x7f000001}};
        return options;
    }
    void Take() {
        m_net.LastClient().clientNotify->OnTcpClientNotifyConnected();
        m_net.LastClient().clientNotify->OnTcpClientNotifyValidate(100, "\0\0\0\x15", 4);
    }
    /// For so long every connection is lost, after it has come about or before.
    void Lose(uint64_t milliseconds, bool reached) {
        for (const uint64_t end = m_now + milliseconds; m_now < end;) {
            if (reached && !m_net.LastClient().lost) m_net.LastClient().clientNotify->OnTcpClientNotifyConnected();
            m_net.LastClient().lost = true;
            Poll(100);
        }
    }
    void Poll(uint64_t milliseconds) { m_host.Poll(m_now += milliseconds); }

    CFakeNet m_net;
    uint64_t m_now = 1000;
    lumo::CPeerHost m_host;
};

TEST_F(PeerHostWithout, KeepsItsNumberWhileTheServiceIsAwayAndForAWhileWhenItIsNotTaken) {
    ASSERT_TRUE(m_host.Ready());
    Lose(600000, false);
    EXPECT_TRUE(m_host.Refused());
    EXPECT_FALSE(m_host.Replaced()) << "nobody is there";
    Lose(lumo::CPeerHost::kReplacedMs - 10000, true);
    EXPECT_FALSE(m_host.Replaced()) << "the service may not have noticed yet that our connection is broken";
    Lose(20000, false);
    Lose(lumo::CPeerHost::kReplacedMs - 10000, true);
    EXPECT_FALSE(m_host.Replaced()) << "it has begun anew";
    Lose(30000, true);
    EXPECT_TRUE(m_host.Replaced());
    Poll(20000);
    Take();
    EXPECT_TRUE(m_host.Ready());
    EXPECT_FALSE(m_host.Replaced());
}

}  // namespace
