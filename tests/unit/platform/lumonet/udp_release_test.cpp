// After a release has returned, nothing is called any more; the endpoints of the tests see to that themselves.
#include "udp_peer.h"

#include <deque>
#include <thread>

namespace {

constexpr int kRounds = 60;

enum class Where { Elsewhere, InBegin, InDatagram, InEnd };

class UdpReleaseTest : public CUdpWayTest {};
INSTANTIATE_TEST_SUITE_P(Ways, UdpReleaseTest, testing::ValuesIn(kAllWays), WayName);

TEST_P(UdpReleaseTest, NothingIsCalledAfterwardsWhileDatagramsPourIn) {
    std::deque<CUdpPeer> peers;  // kept, so that a late call is seen
    std::atomic<uint16_t> aim{9};
    CUdpPeer flooder;
    std::jthread flood([&](const std::stop_token& stop) {
        while (!stop.stop_requested()) {
            flooder.endpoint->BeginBatch();
            for (int i = 0; i < 16; ++i) flooder.Send(std::string(500, 'f'), kLoopback, aim);
            flooder.endpoint->EndBatch();
        }
    });
    for (int round = 0; round < kRounds; ++round) {
        for (const Where where : {Where::Elsewhere, Where::InBegin, Where::InDatagram, Where::InEnd}) {
            CUdpPeer& peer = peers.emplace_back();
            const uint16_t port = peer.Port();
            const auto act = [&peer, where](Where here) {
                if (here == where && peer.Bursts() >= 3)
                    peer.Release();
                else if (here == Where::InBegin)
                    peer.endpoint->BeginBatch();
            };
            peer.SetHooks({[=] { act(Where::InBegin); }, [=](const ReceivedDatagram&) { act(Where::InDatagram); },
                           [=] { act(Where::InEnd); }});
            aim = port;
            if (where == Where::Elsewhere) {
                peer.Take(static_cast<size_t>(round % 20));
                peer.Release();
                EXPECT_FALSE(peer.IsInBurst());
                peers.pop_back();  // a late call would find freed memory
                continue;
            }
            EXPECT_TRUE(Eventually([&peer] { return peer.IsReleased(); }));
            // The socket goes with the endpoint's thread, a moment later.
            const auto isFree = [port] { return CUdpPeer(kLoopback, port).endpoint != nullptr; };
            EXPECT_TRUE(round % 10 != 0 || Eventually(isFree));
        }
    }
}

TEST_P(UdpReleaseTest, AnIdleEndpointEndsAtOnceAndWhatWasCollectedStillLeaves) {
    for (int round = 0; round < kRounds; ++round) CUdpPeer peer;
    CUdpPeer sender, receiver;
    sender.endpoint->BeginBatch();
    sender.SendTo(receiver, "goodbye");
    sender.Release();
    EXPECT_EQ(receiver.TakeBytes(1), Datagrams{"goodbye"});
}

}  // namespace
