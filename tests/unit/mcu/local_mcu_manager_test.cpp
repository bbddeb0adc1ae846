// The manager: endpoints, kinds, time, the order of its end.
#include "link/process/mcu_services.h"
#include "link/process/work_signal.h"
#include "lumomedia/file.h"
#include "lumomedia/local_mcu.h"
#include "support/session_wire.h"
#include "support/test_manager.h"

#include <gtest/gtest.h>

#include <chrono>
#include <future>
#include <new>

using session_wire::ReadU32;
using session_wire::U32;

namespace {

class CChannel : public CFileChannel {
public:
    explicit CChannel(uint32_t id) : CFileChannel(id) { Connect(); }
    void OnFileSinkData(const void* data, int length) override {
        upstream.emplace_back(static_cast<const char*>(data), static_cast<size_t>(length));
    }
    std::vector<std::string> upstream;
};

TEST(LocalMcuManager, NeedsBothEndpointsAndLeavesNothingBehind) {
    CFakeNet net;
    net.refuseUdp = true;
    EXPECT_EQ(CreateLocalMcuMgr(1), nullptr);
    net.refuseUdp = false;
    net.refuseTcpServer = true;
    EXPECT_EQ(CreateLocalMcuMgr(1), nullptr);
    EXPECT_EQ(GetLocalMcuMgr(), nullptr);
    EXPECT_TRUE(net.Udp().released);
    net.refuseTcpServer = false;
    ILocalMcuMgr* manager = CreateLocalMcuMgr(1);
    ASSERT_NE(manager, nullptr);
    EXPECT_EQ(GetLocalMcuMgr(), manager);
    manager->ReleaseConnections();
    EXPECT_EQ(GetLocalMcuMgr(), nullptr);
    EXPECT_EQ(GetLocalMCUFile(), nullptr);
    EXPECT_TRUE(net.Udp().released);
    EXPECT_TRUE(net.TcpServer().released);
}

TEST(LocalMcuManager, EverySecondMeansMoreThanAThousandMilliseconds) {
    CTestHost host;
    CFakeTcpServer& listener = host.net.TcpServer();
    host.manager->RunTurn();
    host.clock.Advance(1000);
    host.manager->RunTurn();
    EXPECT_EQ(listener.timeoutChecks, 0);
    host.clock.Advance(1);
    host.manager->RunTurn();
    EXPECT_EQ(listener.timeoutChecks, 1);
    host.clock.Set(host.clock.Now() - 1);  // a clock that goes back is a large difference
    host.manager->RunTurn();
    EXPECT_EQ(listener.timeoutChecks, 2);
}

TEST(LocalMcuManager, RepeatsPacketsAtTheirTimes) {
    CTestHost host;
    CChannel channel(77);
    host.Deliver(Hex("0639") + U32(5) + U32(77));
    host.TakeSent();
    channel.OnFileChannelData("frame", 5);
    std::vector<uint32_t> times;
    for (uint32_t t = 0; t <= 4500; ++t) {
        for (size_t i = host.TakeSent().size(); i > 0; --i) times.push_back(t);
        host.Run(1);
    }
    EXPECT_EQ(times, (std::vector<uint32_t>{0, 200, 600, 1400, 2400, 3400, 4400}));
    channel.ReleaseConnections();
}

TEST(LocalMcuManager, BatchesPairUpWhateverArrives) {
    CTestHost host;
    CChannel channel(77);
    for (int kind = 0; kind < 256; ++kind)
        for (size_t length : {1U, 2U, 5U, 10U, 22U, 30U})
            host.Deliver(std::string(1, static_cast<char>(kind)) + std::string(length - 1, '\x39'));
    host.Deliver(Hex("0639") + U32(5) + U32(77));
    channel.OnFileChannelData("frame", 5);
    host.Run(300);
    EXPECT_EQ(host.net.Udp().batchDepth, 0);
    channel.ReleaseConnections();
}

TEST(LocalMcuManager, ReleaseEndsTheSinksAndLeavesTheChannels) {
    CTestHost host;
    CChannel channel(77);
    host.Deliver(Hex("0639") + U32(5) + U32(77));
    EXPECT_EQ(channel.GetFileSinkCount(), 1U);
    host.Release();
    EXPECT_EQ(channel.GetFileSinkCount(), 0U);
    EXPECT_FALSE(CWorkSignal::Get().AnyBusy());
    channel.OnFileChannelData("nobody", 6);
    EXPECT_TRUE(channel.Connect()) << "also without a local MCU";
}

/// Its worker's first turn fails.
class CFailingManager : public CLocalMCUManager {
public:
    explicit CFailingManager(std::promise<void>& second) : m_second(second) {}

protected:
    bool OnTurn() override {
        if (++m_nTurns == 1) throw std::bad_alloc();
        if (m_nTurns == 2) m_second.set_value();
        return false;
    }

private:
    std::promise<void>& m_second;
    int m_nTurns = 0;  // worker
};

TEST(LocalMcuManager, TheWorkerOutlivesATurnThatFails) {
    CFakeNet net;
    std::promise<void> second;
    auto* manager = new CFailingManager(second);
    ASSERT_TRUE(manager->Connect(1));
    EXPECT_EQ(second.get_future().wait_for(std::chrono::seconds(60)), std::future_status::ready);
    manager->ReleaseConnections();
}

TEST(LocalMcuManager, TheWorkerRunsAndStops) {
    CFakeNet net;
    ILocalMcuMgr* manager = CreateLocalMcuMgr(1);
    ASSERT_NE(manager, nullptr);
    CChannel channel(77);
    net.Udp().Deliver(Hex("0639") + U32(5) + U32(77), 1, 2);
    channel.OnFileChannelData("frame", 5);
    manager->ReleaseConnections();
    EXPECT_EQ(channel.GetFileSinkCount(), 0U);
}

}  // namespace
