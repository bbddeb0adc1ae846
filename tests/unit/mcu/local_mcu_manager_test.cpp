// The manager: endpoints, kinds, time, the order of its end.
#include "link/process/mcu_services.h"
#include "link/process/work_signal.h"
#include "lumomedia/file.h"
#include "lumomedia/local_mcu.h"
#include "support/medium_scene.h"

#include <chrono>
#include <future>
#include <new>

namespace {

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
    const int& checks = host.net.TcpServer().timeoutChecks;
    host.manager->RunTurn();
    host.Run(1000, 1000);
    EXPECT_EQ(checks, 0);
    host.Run(1);
    EXPECT_EQ(checks, 1);
    host.clock.Set(host.clock.Now() - 1);  // a clock that goes back is a large difference
    host.manager->RunTurn();
    EXPECT_EQ(checks, 2);
}

TEST(LocalMcuManager, BatchesPairUpWhateverArrivesAndNothingIsBusyAfterItsEnd) {
    CMediumScene scene(kFile);
    for (int kind = 0; kind < 256; ++kind)
        for (size_t length : {1U, 2U, 5U, 10U, 22U, 30U})
            scene.host.Deliver(std::string(1, static_cast<char>(kind)) + std::string(length - 1, '\x39'));
    scene.ConnectSink(5);
    scene.app->Write("frame");
    scene.host.Run(300);
    EXPECT_EQ(scene.host.net.Udp().batchDepth, 0);
    EXPECT_TRUE(CWorkSignal::Get().AnyBusy());
    scene.host.Release();
    EXPECT_FALSE(CWorkSignal::Get().AnyBusy());
    scene.app->Write("nobody");
    EXPECT_TRUE(scene.app->As<CFileChannel>().Connect()) << "also without a local MCU";
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

}  // namespace
