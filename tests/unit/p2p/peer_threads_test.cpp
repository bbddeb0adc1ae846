// Entries are replaced while other threads hold, read and change them.
#include "link/process/instances.h"
#include "p2p/mtp2p.h"
#include "peer_scene.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>
#include <utility>

namespace {

/// Counts only; its callbacks come from every thread.
class CCounting final : public IP2PNotify {
public:
    void OnP2PNotifySendCmd(unsigned long, CCmdPacket&) override { ++commands; }
    void OnP2PNotifyGetP2PItem(P2PItem& item) override { item = CPeerScene::FarItem(); }
    unsigned long OnP2PNotifyGetUserID() override { return 7; }
    void OnP2PNotifyNATAddress(unsigned long, unsigned short) override {}
    std::atomic<uint64_t> commands{0};
};

TEST(PeerThreads, AnEntryInHandStaysWholeWhileItIsReplaced) {
    constexpr uint32_t kRounds = 20000, kUsers = 3;
    CCounting app;
    IP2P* p2p = CreateP2P(app);
    CMTP2P& manager = *GetP2PMgr();
    std::atomic<int> writersLeft{2};
    // Addresses and ports of one announcement are one number, so that a mixture of two shows.
    const auto announce = [&](uint32_t first) {
        for (uint32_t i = 0; i < kRounds; ++i) {
            const uint32_t ip = 0x0a000000 + 2 * i + first;
            CCmdPacket cmd = PeerPacket(i % 2 ? "P2P_FETCH_ACK" : "P2P_START", i % kUsers,
                                        Item(ip, 9, ip, static_cast<uint16_t>(ip)));
            p2p->OnReceivedP2PCmd(cmd);
        }
        --writersLeft;
    };
    std::atomic<uint64_t> read{0}, mixed{0};
    const auto hold = [&] {
        std::shared_ptr<CMTP2PIP> before, held;
        for (uint32_t i = 0; writersLeft > 0; ++i) {
            before = std::exchange(held, manager.GetMTP2PIP(i % kUsers));
            for (const auto& entry : {before, held}) {
                if (!entry) continue;
                ++read;
                const bool whole = entry->m_ulNATIP == entry->m_ulLocalIP &&
                                   entry->m_usLocalUDPPort == static_cast<uint16_t>(entry->m_ulLocalIP);
                mixed += whole ? 0 : 1;
            }
        }
    };
    const auto change = [&] {
        for (uint32_t i = 0; writersLeft > 0; ++i) {
            manager.OnP2PConnected(i % kUsers, 0x0a000000 + i, static_cast<uint16_t>(i));
            p2p->StartP2PCaller(i % kUsers);
            P2PPeer peer;
            GetP2PPeer(i % kUsers, peer);
            manager.IsP2PFailed(i % kUsers);
        }
    };
    std::thread threads[] = {std::thread(announce, 0), std::thread(announce, 1), std::thread(hold),
                             std::thread(change)};
    for (std::thread& thread : threads) thread.join();
    EXPECT_GT(read, 0U);
    EXPECT_EQ(mixed, 0U);
    EXPECT_GE(app.commands, kRounds) << "one answer for every start";
    const std::shared_ptr<CMTP2PIP> last = manager.GetMTP2PIP(0);
    p2p->ReleaseConnections();
    EXPECT_EQ(last->m_ulNATIP, last->m_ulLocalIP) << "outlives its manager in the hands of its holder";
}

}  // namespace
