// Which of the library's links counts as the one to a peer.
#include "tools/lumo/net/peer_host.h"

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

}  // namespace
