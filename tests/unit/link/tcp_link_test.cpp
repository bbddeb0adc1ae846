// What may wait for a TCP connection.
#include "link/tcp/tcp_link.h"
#include "link/bounds/limits.h"
#include "support/test_manager.h"

#include <gtest/gtest.h>

#include <string>

namespace {

class CNobody final : public ITcpClientNotify {
public:
    void OnTcpClientNotifyConnected() override {}
    bool OnTcpClientNotifyValidate(unsigned long, const char*, int) override { return true; }
    bool OnTcpClientNotifyReceivedFrame(const char*, int) override { return true; }
};

TEST(TcpLink, TakesNothingMoreOnceAFrameDidNotFitAndIsLostUnlessItsQueueIsCleared) {
    CTestHost host;
    CNobody notify;
    CTcpLink link(wire::Kind::File, 12);
    ASSERT_TRUE(link.Dial(&notify, CTestHost::kPeerIP, CTestHost::kPeerPort, {}));
    CFakeTcp& tcp = host.net.LastClient();
    const auto sends = [&](size_t length) {
        const std::string frame(length, 'x');
        return link.SendFrame(frame.data(), static_cast<int>(frame.size()));
    };
    EXPECT_TRUE(sends(1000));
    tcp.queuedBytes = limits::kMaxQueueBytes + 1000 - limits::kFrameCost * tcp.queued;
    EXPECT_TRUE(sends(1)) << "beside the longest";
    EXPECT_EQ(link.Poll(), TcpPoll::Alive);
    ++tcp.queuedBytes;
    EXPECT_FALSE(sends(1));
    tcp.queuedBytes = 0;
    EXPECT_FALSE(sends(1)) << "it would come with a gap";
    EXPECT_EQ(link.Poll(), TcpPoll::Lost);
    link.ClearQueue();
    EXPECT_TRUE(sends(1));
    EXPECT_EQ(link.Poll(), TcpPoll::Alive);
    tcp.queued = (limits::kMaxQueueBytes + 1000) / limits::kFrameCost + 1;
    EXPECT_FALSE(sends(1)) << "many short frames take room as well";
    tcp.received = 700;
    LumoLinkStatistics said;
    ASSERT_TRUE(GetLinkStatistics(0, said));
    EXPECT_TRUE(said.byKind == 6 && said.byTransport == 1 && said.ulQueuedFrames == tcp.queued);
    EXPECT_TRUE(said.ulRemoteIP == tcp.remoteIP && said.usRemotePort == CTestHost::kPeerPort);
    EXPECT_EQ(said.ullSignsOfLife, 700U);
    link.Release();
    EXPECT_FALSE(GetLinkStatistics(0, said));
}

}  // namespace
