#include "platform/lumobase/clock.h"
#include "platform/lumobase/thread.h"
#include "support/log_capture.h"
#include "support/pipe.h"
#include "support/virtual_clock.h"

#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <future>
#include <set>
#include <stdexcept>
#include <vector>

namespace {

/// Runs until it is told to end.
class CTestThread : public CThread {
public:
    ~CTestThread() override { WaitForStop(); }
    std::promise<void> started, end;
    std::atomic<int> runs{0};
    bool fails = false;
    sigset_t blocked{};

protected:
    uint32_t ThreadProcMain() override {
        pthread_sigmask(SIG_SETMASK, nullptr, &blocked);
        started.set_value();
        end.get_future().wait();
        ++runs;
        if (fails) throw std::runtime_error("body");
        return 0;
    }
};

TEST(ThreadTest, RunsItsBodyOnceAndIsWaitedFor) {
    CTestThread thread;
    thread.WaitForStop();
    ASSERT_TRUE(thread.StartThread());
    EXPECT_FALSE(thread.StartThread()) << "it runs already";
    thread.started.get_future().wait();
    thread.end.set_value();
    thread.WaitForStop();
    EXPECT_EQ(thread.runs, 1);
    EXPECT_EQ(sigismember(&thread.blocked, SIGINT), 1) << "signals are for the application's threads";
    sigset_t own;
    pthread_sigmask(SIG_SETMASK, nullptr, &own);
    EXPECT_EQ(sigismember(&own, SIGINT), 0);

    thread.started = {};
    thread.end = {};
    ASSERT_TRUE(thread.StartThread()) << "again, once it has ended";
    thread.end.set_value();
    thread.WaitForStop();
    EXPECT_EQ(thread.runs, 2);
}

TEST(ThreadTest, ABodyThatThrowsEndsItsThreadAlone) {
    CLogCapture capture;
    CTestThread thread;
    thread.fails = true;
    thread.end.set_value();
    ASSERT_TRUE(thread.StartThread());
    thread.WaitForStop();
    EXPECT_EQ(capture.Lines().size(), 1u);
}

TEST(ClockTest, CountsMillisecondsUpwardsAndCanBeReplaced) {
    unsigned long before = Lumo_Base::GetTimestamp();
    for (int i = 0; i < 1000; ++i) {
        const unsigned long now = Lumo_Base::GetTimestamp();
        ASSERT_LE(now, 0xfffffffful);
        ASSERT_LT(static_cast<uint32_t>(now - before), 60'000u);
        before = now;
    }
    {
        CVirtualClock clock(0xfffffffe);
        clock.Advance(3);
        EXPECT_EQ(Lumo_Base::GetTimestamp(), 1ul);
    }
    EXPECT_LT(static_cast<uint32_t>(Lumo_Base::GetTimestamp() - before), 60'000u);
}

TEST(ClockTest, AHoldGivesOneReadingToItsThreadButForWhatMayTakeLong) {
    CVirtualClock clock(1000);
    {
        const Lumo_Base::CTimeHold outer;
        EXPECT_EQ(Lumo_Base::GetTimestamp(), 1000u);
        clock.Advance(5);
        {
            const Lumo_Base::CTimeHold inner;
            EXPECT_EQ(Lumo_Base::GetTimestamp(), 1000u);
        }
        EXPECT_EQ(Lumo_Base::GetTimestamp(), 1000u);
        EXPECT_EQ(std::async(std::launch::async, Lumo_Base::GetTimestamp).get(), 1005u) << "other threads see the time";
        {
            const Lumo_Base::CTimeUnheld unheld;
            EXPECT_EQ(Lumo_Base::GetTimestamp(), 1005u);
            clock.Advance(2);
            EXPECT_EQ(Lumo_Base::GetTimestamp(), 1007u);
            const Lumo_Base::CTimeHold within;
            EXPECT_EQ(Lumo_Base::GetTimestamp(), 1007u);
            clock.Advance(1);
            EXPECT_EQ(Lumo_Base::GetTimestamp(), 1007u);
        }
        EXPECT_EQ(Lumo_Base::GetTimestamp(), 1008u);
        clock.Advance(2);
        EXPECT_EQ(Lumo_Base::GetTimestamp(), 1008u) << "held again";
    }
    EXPECT_EQ(Lumo_Base::GetTimestamp(), 1010u);
    Lumo_Base::CTimeHold::End();
    clock.Advance(5);
    EXPECT_EQ(Lumo_Base::GetTimestamp(), 1015u) << "an end without a beginning is forgiven";
}

TEST(RandomTest, IdentifiersDifferAcrossThreadsAndForks) {
    constexpr int kEach = 2000;
    const auto draw = [] {
        std::vector<unsigned long> drawn;
        for (int i = 0; i < kEach; ++i) drawn.push_back(Lumo_Base::GenerateSSRC());
        return drawn;
    };
    auto other = std::async(std::launch::async, draw);
    std::set<unsigned long> seen;
    for (const auto& drawn : {draw(), other.get()}) seen.insert(drawn.begin(), drawn.end());
    EXPECT_EQ(seen.count(0), 0u);
    EXPECT_LE(*seen.rbegin(), 0xfffffffful);
    EXPECT_GE(seen.size(), 2u * kEach - 3) << "four thousand draws of four thousand million";

    const CPipe pipe;
    Lumo_Base::GenerateSSRC();
    const pid_t child = fork();
    if (child == 0) {
        const unsigned long value = Lumo_Base::GenerateSSRC();
        _exit(write(pipe.write.Get(), &value, sizeof value) == sizeof value ? 0 : 1);
    }
    const unsigned long own = Lumo_Base::GenerateSSRC();
    unsigned long childs = 0;
    EXPECT_EQ(read(pipe.read.Get(), &childs, sizeof childs), static_cast<ssize_t>(sizeof childs));
    EXPECT_NE(own, childs);
    int status = -1;
    waitpid(child, &status, 0);
    EXPECT_EQ(status, 0);
}

}  // namespace
