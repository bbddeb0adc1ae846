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
    const std::tuple<uint32_t, uint16_t, bool> rows[] = {{0xcb007101, 4000, true},
                                                         {0x0a000102, 5000, true},
                                                         {0x06060606, 6000, true},
                                                         {0xcb007101, 5000, false},
                                                         {0x0a000102, 4000, false},
                                                         {0x06060606, 4000, false},
                                                         {0, 0, false}};
    for (const auto& [ip, port, is] : rows) {
        LumoLinkStatistics link{};
        link.ulRemoteIP = ip;
        link.usRemotePort = port;
        EXPECT_EQ(lumo::IsFarSide(link, peer), is) << std::hex << ip << ':' << port;
    }
    EXPECT_FALSE(lumo::IsFarSide(LumoLinkStatistics{}, P2PPeer{})) << "neither address is known";
}

TEST(PeerHost, KeepsItsNumberWhileTheServiceIsAwayAndForAWhileWhenItIsNotTaken) {
    CFakeNet net;
    lumo::PeerOptions options;
    options.peers = true;
    options.userID = 21;
    options.mcu = {"127.0.0.1", 7000, {0x7f000001}};
    lumo::CPeerHost host(options);
    uint64_t now = 1000;
    const auto poll = [&](uint64_t milliseconds) { host.Poll(now += milliseconds); };
    const auto take = [&] {
        net.LastClient().clientNotify->OnTcpClientNotifyConnected();
        net.LastClient().clientNotify->OnTcpClientNotifyValidate(100, "\0\0\0\x15", 4);
    };
    // For so long every connection is lost, after it has come about or before.
    const auto lose = [&](uint64_t milliseconds, bool reached) {
        for (uint64_t left = milliseconds; left > 0; left -= 100) {
            if (reached && !net.LastClient().lost) net.LastClient().clientNotify->OnTcpClientNotifyConnected();
            net.LastClient().lost = true;
            poll(100);
        }
    };
    poll(0);
    net.Udp().Deliver(Hex("07 01020304 abcd"), 0x7f000001, 7000);
    poll(1);
    take();
    ASSERT_TRUE(host.Ready());
    lose(600000, false);
    EXPECT_TRUE(host.Refused());
    EXPECT_FALSE(host.Replaced()) << "nobody is there";
    lose(lumo::CPeerHost::kReplacedMs - 10000, true);
    EXPECT_FALSE(host.Replaced()) << "the service may not have noticed yet that our connection is broken";
    lose(20000, false);
    lose(lumo::CPeerHost::kReplacedMs - 10000, true);
    EXPECT_FALSE(host.Replaced()) << "it has begun anew";
    lose(30000, true);
    EXPECT_TRUE(host.Replaced());
    poll(20000);
    take();
    EXPECT_TRUE(host.Ready());
    EXPECT_FALSE(host.Replaced());
}

}  // namespace
