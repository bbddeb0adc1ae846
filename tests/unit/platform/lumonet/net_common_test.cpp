#include "platform/lumonet/net_real.h"
#include "platform/lumonet/socket_address.h"
#include "udp_peer.h"

#include <memory>

using namespace std::string_literals;

namespace {

TEST(IpAddrTest, NothingButFourNumbersIsRefused) {
    for (const std::string& row :
         {""s,         "1"s,         "1.2.3"s,     "1.2.3."s,     ".1.2.3"s,     "1.2.3.4."s,  "1.2.3.4.5"s,
          "1..3.4"s,   "256.1.1.1"s, "1.2.3.256"s, "1.2.3.1000"s, "1.2.3.0004"s, "01.2.3.4"s,  "1.2.3.00"s,
          "-1.2.3.4"s, "+1.2.3.4"s,  " 1.2.3.4"s,  "1.2.3.4 "s,   "1.2.3.4\n"s,  "0x1.2.3.4"s, "a.b.c.d"s,
          "1.2.3.4x"s, "1,2,3,4"s,   "::1"s,       "localhost"s,  "1.2.3.4\0"s}) {
        uint32_t ip = 77;
        EXPECT_FALSE(ParseIpAddr(row, ip)) << row;
        EXPECT_EQ(ip, 77u) << row;
    }
}

/// True when a TCP socket of somebody else could have the port.
bool TcpPortIsFree(uint16_t port) {
    const CFileDescriptor socket = OpenSocket(SOCK_STREAM);
    const sockaddr_in address = ToSocketAddress(kLoopback, port);
    return bind(socket.Get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
}

class PortTwinTest : public CUdpWayTest {};
INSTANTIATE_TEST_SUITE_P(Ways, PortTwinTest, testing::Values(kAllWays[0], kAllWays[std::size(kAllWays) - 1]), WayName);

TEST_P(PortTwinTest, StaysReservedUntilAListenerTakesItOrTheEndpointGoes) {
    CUdpPeer taken, dropped;
    const uint16_t takenPort = taken.Port(), droppedPort = dropped.Port();
    EXPECT_FALSE(TcpPortIsFree(takenPort));
    EXPECT_FALSE(TcpPortIsFree(droppedPort));

    EXPECT_EQ(TakeReservedTcpSocket(kLoopback + 1, takenPort), -1) << "another address";
    const int fd = TakeReservedTcpSocket(kLoopback, takenPort);
    ASSERT_GE(fd, 0);
    EXPECT_EQ(TakeReservedTcpSocket(kLoopback, takenPort), -1) << "once only";
    EXPECT_EQ(listen(fd, 1), 0);
    taken.Release();
    EXPECT_FALSE(TcpPortIsFree(takenPort)) << "the listener keeps what it has taken";
    close(fd);
    EXPECT_TRUE(TcpPortIsFree(takenPort));

    dropped.Release();
    EXPECT_TRUE(TcpPortIsFree(droppedPort));
    EXPECT_EQ(TakeReservedTcpSocket(kLoopback, droppedPort), -1);
    CUdpPeer given(kLoopback, droppedPort);
    ASSERT_NE(given.endpoint, nullptr);
    EXPECT_TRUE(TcpPortIsFree(droppedPort)) << "only a port that we have picked has a twin";
}

TEST_P(PortTwinTest, APortWhoseTwinIsTakenIsNotPicked) {
    // Many at once, so that a pick that ignores the twins would meet one of these listeners sooner or later.
    std::vector<std::unique_ptr<CUdpPeer>> peers;
    for (int i = 0; i < 200; ++i) {
        peers.push_back(std::make_unique<CUdpPeer>());
        ASSERT_NE(peers.back()->endpoint, nullptr);
        const int fd = TakeReservedTcpSocket(kLoopback, peers.back()->Port());
        ASSERT_GE(fd, 0);
        EXPECT_EQ(listen(fd, 1), 0) << "a twin that somebody else listens on";
        close(fd);
    }
}

}  // namespace
