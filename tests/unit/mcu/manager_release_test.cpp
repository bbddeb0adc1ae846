// The manager goes while other threads still send.
#include "link/process/mcu_services.h"
#include "lumomedia/local_mcu.h"
#include "support/fake_net.h"
#include "support/medium_app.h"

#include <gtest/gtest.h>

#include <atomic>
#include <memory>
#include <thread>
#include <vector>

namespace {

/// Counts its uses, and those that found it released. Slow, so that a release can come in the middle of one.
class CMortalUdp final : public IUdpClient {
public:
    explicit CMortalUdp(CFakeNet& net) : m_net(net) {}
    void ReleaseConnections() override {
        EXPECT_TRUE(m_net.TcpServer().released) << "what the listener lets in could still send";
        released = true;
    }
    void SendData(const char*, int, unsigned long, unsigned short) override { Use(); }
    void BeginBatch() override { Use(); }
    void EndBatch() override { Use(); }
    void FlushBatch() override { Use(); }
    unsigned short GetLocalPort() override { return 40000; }

    std::atomic<int> uses{0}, usesTooLate{0};
    std::atomic<bool> released{false};

private:
    void Use() {
        ++uses;
        std::this_thread::yield();
        if (released) ++usesTooLate;
    }

    CFakeNet& m_net;
};

TEST(ManagerRelease, WaitsForThreadsThatStillSend) {
    constexpr int kManagers = 200;
    CFakeNet net;
    std::vector<std::unique_ptr<CMortalUdp>> udps;
    net.makeUdp = [&] { return udps.emplace_back(std::make_unique<CMortalUdp>(net)).get(); };
    const auto app = kFile.make(CMediumApp::kChannelID);
    std::atomic<bool> stop{false};
    const auto write = [&] {
        while (!stop) {
            app->Write("frame");
            SendUdpData("data", 4, 1, 2);
            FlushUdpBatch();
        }
    };
    std::thread writers[] = {std::thread(write), std::thread(write)};
    for (int i = 0; i < kManagers; ++i) {
        ILocalMcuMgr* manager = CreateLocalMcuMgr(0);
        const CMortalUdp& udp = *udps.back();
        while (udp.uses < 4) std::this_thread::yield();
        manager->ReleaseConnections();
        EXPECT_TRUE(udp.released);
    }
    stop = true;
    for (std::thread& writer : writers) writer.join();
    for (const auto& udp : udps) EXPECT_EQ(udp->usesTooLate, 0);
}

}  // namespace
