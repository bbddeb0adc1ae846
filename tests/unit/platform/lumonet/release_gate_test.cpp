#include "platform/lumonet/release_gate.h"

#include <gtest/gtest.h>

#include <atomic>
#include <future>
#include <thread>

namespace {

/// A callback of another thread that stays inside until it is let go.
class CInside {
public:
    explicit CInside(CReleaseGate& gate) {
        m_thread = std::thread([this, &gate] {
            CGatePass pass(gate);
            EXPECT_TRUE(static_cast<bool>(pass));
            m_entered.set_value();
            m_leave.get_future().wait();
            left = true;
        });
        m_entered.get_future().wait();
    }
    ~CInside() { m_thread.join(); }
    void LetGo() { m_leave.set_value(); }
    std::atomic<bool> left{false};

private:
    std::promise<void> m_entered, m_leave;
    std::thread m_thread;
};

TEST(ReleaseGateTest, LetsNobodyInOnceReleased) {
    CReleaseGate gate;
    {
        CGatePass pass(gate);
        CGatePass again(gate);
        EXPECT_TRUE(pass && again) << "its own thread may enter again";
        EXPECT_TRUE(gate.IsInside());
    }
    EXPECT_FALSE(gate.IsInside());
    EXPECT_FALSE(gate.IsReleased());
    EXPECT_TRUE(gate.Release());
    EXPECT_FALSE(gate.Release()) << "only one call ends the object";
    EXPECT_TRUE(gate.IsReleased());
    EXPECT_FALSE(gate.Enter());
}

TEST(ReleaseGateTest, FromInsideItDoesNotWait) {
    CReleaseGate gate;
    CGatePass pass(gate);
    gate.Drain();
    EXPECT_TRUE(gate.Release());
    EXPECT_FALSE(gate.Enter()) << "not even deeper";
    EXPECT_TRUE(gate.IsInside());
}

TEST(ReleaseGateTest, FromElsewhereItWaitsForTheRunningCallback) {
    for (const bool release : {true, false}) {
        CReleaseGate gate;
        CInside inside(gate);
        std::thread letGo([&] { inside.LetGo(); });
        if (release) {
            gate.Release();
        } else {
            gate.Drain();
        }
        EXPECT_TRUE(inside.left);
        EXPECT_EQ(gate.Enter(), !release);
        if (!release) gate.Leave();
        letGo.join();
    }
}

TEST(ReleaseGateTest, AReleaseTurnsAwayWhoWaitsToEnter) {
    CReleaseGate gate;
    CInside inside(gate);
    auto second = std::async(std::launch::async, [&] { return gate.Enter(); });
    auto release = std::async(std::launch::async, [&] { return gate.Release(); });
    EXPECT_FALSE(second.get()) << "while the first is still inside";
    EXPECT_FALSE(inside.left);
    inside.LetGo();
    EXPECT_TRUE(release.get());
}

}  // namespace
