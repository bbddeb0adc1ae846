// The manager goes while other threads still send.
#include "link/process/mcu_services.h"
#include "lumomedia/file.h"
#include "lumomedia/local_mcu.h"
#include "support/fake_net.h"

#include <gtest/gtest.h>

#include <atomic>
#include <memory>
#include <thread>
#include <vector>

namespace {

/// Counts its uses, and those that found it released. Slow, so that a release can come in the middle of one.
class CMortalUdp final : public IUdpClient {
public:
    explicit CMortalUdp(const CFakeTcpServer*& listener) : m_pListener(listener) {}
    void ReleaseConnections() override {
        EXPECT_TRUE(m_pListener->released) << "what the listener lets in could still send";
        released = true;
    }
    void SendData(const char*, int, unsigned long, unsigned short) override { Use(); }
    void BeginBatch() override { Use(); }
    void EndBatch() override { Use(); }
    void FlushBatch() override { Use(); }
    unsigned short GetLocalPort() override { return 40000; }

    std::atomic<int> uses{0};
    std::atomic<int> usesTooLate{0};
    std::atomic<bool> released{false};

private:
    void Use() {
        ++uses;
        std::this_thread::yield();
        if (released) ++usesTooLate;
    }

    const CFakeTcpServer*& m_pListener;
};

/// The endpoints of one manager after the other; what it made lives as long as it does.
struct CNet {
    CNet() {
        g_pNet = this;
        NetFactories factories;
        factories.createUdpClient = [](IUdpClientNotify*, const UdpOptions&) -> IUdpClient* {
            return g_pNet->udps.emplace_back(std::make_unique<CMortalUdp>(g_pNet->listener)).get();
        };
        factories.createTcpServer = [](ITcpServerNotify* notify, const TcpServerOptions&) -> ITcpServer* {
            auto& made = g_pNet->listeners.emplace_back(std::make_unique<CFakeTcpServer>(notify));
            g_pNet->listener = made.get();
            return made.get();
        };
        SetNetFactories(factories);
    }
    ~CNet() { SetNetFactories(NetFactories()); }

    static inline CNet* g_pNet = nullptr;
    const CFakeTcpServer* listener = nullptr;
    std::vector<std::unique_ptr<CMortalUdp>> udps;
    std::vector<std::unique_ptr<CFakeTcpServer>> listeners;
};

class CChannel : public CFileChannel {
public:
    CChannel() : CFileChannel(77) {}
    void OnFileSinkData(const void*, int) override {}
};

TEST(ManagerRelease, WaitsForThreadsThatStillSend) {
    constexpr int kManagers = 200;
    CNet net;
    CChannel channel;
    std::atomic<bool> stop{false};
    const auto write = [&] {
        while (!stop) {
            channel.OnFileChannelData("frame", 5);
            SendUdpData("data", 4, 1, 2);
            FlushUdpBatch();
        }
    };
    std::thread writers[] = {std::thread(write), std::thread(write)};
    for (int i = 0; i < kManagers; ++i) {
        ILocalMcuMgr* manager = CreateLocalMcuMgr(0);
        const CMortalUdp& udp = *net.udps.back();
        while (udp.uses < 4) std::this_thread::yield();
        manager->ReleaseConnections();
        EXPECT_TRUE(udp.released);
    }
    stop = true;
    for (std::thread& writer : writers) writer.join();
    for (const auto& udp : net.udps) EXPECT_EQ(udp->usesTooLate, 0);
}

}  // namespace
