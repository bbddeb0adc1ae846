#include "platform/lumobase/clock.h"
#include "platform/lumobase/thread.h"
#include "support/log_capture.h"
#include "support/pipe.h"
#include "support/virtual_clock.h"

#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <future>
#include <set>
#include <stdexcept>
#include <vector>

namespace {

using Lumo_Base::GetTimestamp;

/// Runs until it is told to end, and throws then.
class CTestThread : public CThread {
public:
    ~CTestThread() override { WaitForStop(); }
    std::promise<void> end;
    int runs = 0;
    sigset_t blocked{};

protected:
    uint32_t ThreadProcMain() override {
        pthread_sigmask(SIG_SETMASK, nullptr, &blocked);
        end.get_future().wait();
        ++runs;
        throw std::runtime_error("body");
    }
};

TEST(ThreadTest, RunsItsBodyOnceAtATimeAndIsWaitedFor) {
    CLogCapture capture;
    CTestThread thread;
    thread.WaitForStop();
    for (int run = 1; run <= 2; ++run) {
        thread.end = {};
        ASSERT_TRUE(thread.StartThread()) << "again, once it has ended";
        EXPECT_FALSE(thread.StartThread()) << "it runs already";
        thread.end.set_value();
        thread.WaitForStop();
        EXPECT_EQ(thread.runs, run);
    }
    EXPECT_EQ(capture.Lines().size(), 2u) << "a body that throws ends its thread alone";
    EXPECT_EQ(sigismember(&thread.blocked, SIGINT), 1) << "signals are for the application's threads";
    sigset_t own;
    pthread_sigmask(SIG_SETMASK, nullptr, &own);
    EXPECT_EQ(sigismember(&own, SIGINT), 0);
}

TEST(ClockTest, CountsMillisecondsUpwardsAndCanBeReplaced) {
    const unsigned long before = GetTimestamp();
    EXPECT_LE(before, 0xfffffffful);
    {
        CVirtualClock clock(0xfffffffe);
        clock.Advance(3);
        EXPECT_EQ(GetTimestamp(), 1ul);
    }
    EXPECT_LT(static_cast<uint32_t>(GetTimestamp() - before), 60'000u);
}

TEST(ClockTest, AHoldGivesOneReadingToItsThreadButForWhatMayTakeLong) {
    CVirtualClock clock(1000);
    const auto after = [&clock](uint32_t milliseconds) {
        clock.Advance(milliseconds);
        return GetTimestamp();
    };
    {
        const Lumo_Base::CTimeHold outer;
        EXPECT_EQ(GetTimestamp(), 1000u);
        { const Lumo_Base::CTimeHold inner; }
        EXPECT_EQ(after(5), 1000u);
        EXPECT_EQ(std::async(std::launch::async, GetTimestamp).get(), 1005u) << "other threads see the time";
        {
            const Lumo_Base::CTimeUnheld unheld;
            EXPECT_EQ(after(2), 1007u);
            const Lumo_Base::CTimeHold within;
            EXPECT_EQ(after(1), 1008u);
            EXPECT_EQ(after(1), 1008u);
        }
        EXPECT_EQ(GetTimestamp(), 1009u);
        EXPECT_EQ(after(2), 1009u) << "held again";
    }
    EXPECT_EQ(GetTimestamp(), 1011u);
    Lumo_Base::CTimeHold::End();
    EXPECT_EQ(after(5), 1016u) << "an end without a beginning is forgiven";
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
    const pid_t child = fork();
    if (child == 0) {
        const unsigned long value = Lumo_Base::GenerateSSRC();
        _exit(write(pipe.write.Get(), &value, sizeof value) == sizeof value ? 0 : 1);
    }
    unsigned long childs = 0;
    EXPECT_EQ(read(pipe.read.Get(), &childs, sizeof childs), static_cast<ssize_t>(sizeof childs));
    EXPECT_NE(Lumo_Base::GenerateSSRC(), childs);
    EXPECT_EQ(waitpid(child, nullptr, 0), child);
}

}  // namespace
