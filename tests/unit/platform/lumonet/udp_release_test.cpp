#include "udp_peer.h"

#include <atomic>
#include <deque>
#include <memory>
#include <thread>

namespace {

constexpr int kRounds = 60;

/// Sends to whatever port it is told, without pause, until it ends.
class CFlood {
public:
    CFlood() {
        m_thread = std::thread([this] {
            const std::string bytes(500, 'f');
            while (!m_bStop) {
                m_peer.endpoint->BeginBatch();
                for (int i = 0; i < 16; ++i) m_peer.Send(bytes, kLoopback, m_nPort);
                m_peer.endpoint->EndBatch();
            }
        });
    }
    ~CFlood() {
        m_bStop = true;
        m_thread.join();
    }
    void Aim(uint16_t port) { m_nPort = port; }

private:
    CUdpPeer m_peer;
    std::atomic<uint16_t> m_nPort{9};
    std::atomic<bool> m_bStop{false};
    std::thread m_thread;
};

enum class Where { Elsewhere, InBegin, InDatagram, InEnd };

/// Says when it was called although its endpoint had been released.
class CWatcher final : public IUdpClientNotify {
public:
    explicit CWatcher(Where where) : m_where(where) {
        m_pEndpoint = CreateUdpClientAt(this, {kLoopback, 0, false});
        m_bReady = true;
    }
    uint16_t Port() { return m_pEndpoint->GetLocalPort(); }
    void Release() {
        m_pEndpoint->ReleaseConnections();
        m_bReleased = true;
        m_bReleased.notify_all();
    }
    void WaitUntilReleased() { m_bReleased.wait(false); }
    void WaitForDatagrams(int count) {
        for (int seen = m_nDatagrams; seen < count; seen = m_nDatagrams) m_nDatagrams.wait(seen);
    }
    bool PairedUp() const { return m_nBegun == m_nEnded; }

private:
    void OnUdpClientNotifyReceivedFrame(const char*, int, unsigned long, unsigned short) override {
        ++m_nDatagrams;
        m_nDatagrams.notify_all();
        Called(Where::InDatagram);
    }
    void OnUdpClientNotifyBurstBegin() override {
        ++m_nBegun;
        if (m_bReady) m_pEndpoint->BeginBatch();
        Called(Where::InBegin);
    }
    void OnUdpClientNotifyBurstEnd() override {
        ++m_nEnded;
        Called(Where::InEnd);
    }
    void Called(Where where) {
        EXPECT_FALSE(m_bReleased) << "called after the release";
        if (where == m_where && m_bReady && m_nDatagrams >= 3) Release();
    }

    const Where m_where;
    IUdpClient* m_pEndpoint = nullptr;
    std::atomic<bool> m_bReady{false};
    std::atomic<bool> m_bReleased{false};
    std::atomic<int> m_nDatagrams{0};
    std::atomic<int> m_nBegun{0};
    std::atomic<int> m_nEnded{0};
};

class UdpReleaseTest : public CUdpWayTest {};
INSTANTIATE_TEST_SUITE_P(Ways, UdpReleaseTest, testing::ValuesIn(kAllWays), WayName);

TEST_P(UdpReleaseTest, NothingIsCalledAfterAReleaseFromAnotherThread) {
    CFlood flood;
    for (int round = 0; round < kRounds; ++round) {
        auto watcher = std::make_unique<CWatcher>(Where::Elsewhere);
        flood.Aim(watcher->Port());
        watcher->WaitForDatagrams(round % 20);
        watcher->Release();
        EXPECT_TRUE(watcher->PairedUp());
        watcher.reset();  // a late call would find freed memory
    }
}

TEST_P(UdpReleaseTest, NothingIsCalledAfterAReleaseFromInsideACallback) {
    CFlood flood;
    std::deque<CWatcher> watchers;  // kept: the callback that released is still on its way out
    for (int round = 0; round < kRounds; ++round) {
        for (const Where where : {Where::InBegin, Where::InDatagram, Where::InEnd}) {
            CWatcher& watcher = watchers.emplace_back(where);
            const uint16_t port = watcher.Port();
            flood.Aim(port);
            watcher.WaitUntilReleased();
            if (round % 10 != 0) continue;
            // The socket goes with the endpoint's thread, a moment later.
            const auto end = std::chrono::steady_clock::now() + kLongEnough;
            bool freed = false;
            while (!freed && std::chrono::steady_clock::now() < end) {
                CUdpPeer again(kLoopback, port);
                freed = again.endpoint != nullptr;
            }
            EXPECT_TRUE(freed);
        }
    }
}

TEST_P(UdpReleaseTest, AnIdleEndpointEndsAtOnce) {
    for (int round = 0; round < kRounds; ++round) CUdpPeer peer;
    CUdpPeer quiet, other;
    other.SendTo(quiet, "x");
    EXPECT_EQ(quiet.Take(1).size(), 1u);
    quiet.Release();
}

TEST_P(UdpReleaseTest, WhatTheReleasingThreadHasCollectedStillLeaves) {
    CUdpPeer sender, receiver;
    sender.endpoint->BeginBatch();
    sender.SendTo(receiver, "goodbye");
    sender.Release();
    EXPECT_EQ(receiver.TakeBytes(1), std::vector<std::string>{"goodbye"});
}

}  // namespace
