// A session as its owners use it: one thread feeds each end, another pumps, a third sends, a fourth looks on.
#include "core/sctp_session.h"
#include "support/virtual_clock.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <deque>
#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace {

// A wire that loses every 20th packet.
class CWire {
public:
    void Put(const char* packet, int length) {
        std::lock_guard<std::mutex> lock(m_mutex);
        if (++m_nPut % 20 == 0) return;
        m_packets.emplace_back(packet, static_cast<size_t>(length));
        m_arrived.notify_one();
    }
    bool Take(std::string& packet) {
        std::unique_lock<std::mutex> lock(m_mutex);
        m_arrived.wait(lock, [this] { return m_bCut || !m_packets.empty(); });
        if (m_packets.empty()) return false;
        packet = std::move(m_packets.front());
        m_packets.pop_front();
        return true;
    }
    void Cut() {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_bCut = true;
        m_arrived.notify_all();
    }

private:
    std::mutex m_mutex;
    std::condition_variable m_arrived;
    std::deque<std::string> m_packets;
    uint64_t m_nPut = 0;
    bool m_bCut = false;
};

class CEnd : public CSCTPSession {
public:
    explicit CEnd(CWire& out) : m_out(out) { EXPECT_TRUE(OpenSession()); }
    ~CEnd() override { CloseSession(); }
    void OnSCTPSessionReceivedFrame(char* frame, int length) override {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_frames.emplace_back(frame, static_cast<size_t>(length));
        m_changed.notify_all();
    }
    void SendSCTPData(char* packet, int length) override { m_out.Put(packet, length); }
    void FeedFrom(CWire& in) {
        for (std::string packet; in.Take(packet);)
            OnSCTPSessionReceivedData(packet.data(), static_cast<int>(packet.size()));
    }
    std::vector<std::string> WaitForFrames(size_t count) {
        std::unique_lock<std::mutex> lock(m_mutex);
        m_changed.wait_for(lock, std::chrono::minutes(2), [&] { return m_frames.size() >= count; });
        return m_frames;
    }

private:
    CWire& m_out;
    std::mutex m_mutex;
    std::condition_variable m_changed;
    std::vector<std::string> m_frames;
};

TEST(SessionThreads, MayCallAtTheSameTime) {
    CVirtualClock clock;  // runs with the pump, so that repetitions need no waiting
    CWire there, back;
    CEnd left(there), right(back);
    std::atomic<bool> stop{false};
    const auto untilStopped = [&stop](const std::function<void()>& work) {
        while (!stop) {
            work();
            std::this_thread::yield();
        }
    };
    std::vector<std::string> frames;
    for (int i = 0; i < 300; ++i) frames.emplace_back(static_cast<size_t>(1 + 37 * i), static_cast<char>('a' + i % 26));

    std::vector<std::thread> threads;
    threads.emplace_back([&] { left.FeedFrom(back); });
    threads.emplace_back([&] { right.FeedFrom(there); });
    threads.emplace_back([&] {
        untilStopped([&] {
            left.ProcessSend();
            right.ProcessSend();
            clock.Advance(1);
        });
    });
    threads.emplace_back([&] {
        untilStopped([&] {
            left.GetStatistics();
            left.CanAdmit();
            right.SetWindowSize(right.GetWindowSize() == 31 ? 20 : 31);
        });
    });
    threads.emplace_back([&] {
        for (std::string& frame : frames) left.SendFrame(frame.data(), static_cast<int>(frame.size()));
    });
    EXPECT_TRUE(right.WaitForFrames(frames.size()) == frames);
    stop = true;
    there.Cut();
    back.Cut();
    for (std::thread& thread : threads) thread.join();
    EXPECT_GT(left.GetStatistics().retransmitted, 0U);
}

}  // namespace
