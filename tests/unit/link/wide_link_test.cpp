// A frame link whose session is wide: several frames in flight, and acknowledgements that are due.
#include "core/wide/wide_session.h"
#include "link/process/due_links.h"
#include "link/process/work_signal.h"
#include "link/udp/frame_link.h"
#include "support/test_manager.h"
#include "support/virtual_clock.h"

#include <gtest/gtest.h>

#include <array>
#include <deque>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

class CWideEnd : public ILinkOwner {
public:
    CWideEnd() { link.OpenLink(); }
    virtual ~CWideEnd() { link.CloseLink(); }
    CWideEnd(const CWideEnd&) = delete;
    CWideEnd& operator=(const CWideEnd&) = delete;

    void OnSCTPSessionReceivedFrame(char* frame, int length) override {
        saidBefore = said.size();
        frames.emplace_back(frame, static_cast<size_t>(length));
    }
    void SendSCTPData(char* packet, int length) override { said.emplace_back(packet, static_cast<size_t>(length)); }
    void DescribeLink(LumoLinkStatistics&) const override {}
    /// Hands so many of the other's packets over.
    void Hear(CWideEnd& from, size_t most = SIZE_MAX) {
        for (; most > 0 && !from.said.empty(); --most) {
            const std::string packet = from.said.front();
            from.said.pop_front();
            link.OnPacket(packet.data(), static_cast<int>(packet.size()));
        }
    }

    std::deque<std::string> said;
    std::vector<std::string> frames;
    size_t saidBefore = 0;  // the last frame came
    CFrameLink link{*this};
};

class WideLink : public testing::Test {
protected:
    WideLink() {
        const std::string frame(5000, 'a');
        left.link.QueueFrame(frame.data(), 5000);
        for (int i = 0; i < 5; ++i) {
            right.Hear(left);
            clock.Advance(10);
            left.Hear(right);
            CDueLinks::Get().Run(Lumo_Base::GetMicroseconds());
        }
    }
    ~WideLink() override { wide::SetWanted(false); }

    struct Wanted {
        Wanted() { wide::SetWanted(true); }
    } wanted;
    CVirtualClock clock;
    CWideEnd left, right;
};

TEST_F(WideLink, HasSeveralFramesInFlightAndCountsThemUntilTheyAreDelivered) {
    ASSERT_TRUE(left.link.Session().IsWideSending());
    for (int i = 0; i < 8; ++i) left.link.QueueFrame("frame", 5);
    EXPECT_EQ(left.said.size(), 8U);
    EXPECT_EQ(left.link.QueuedFrames(), 0U);
    LumoLinkStatistics statistics;
    left.link.FillStatistics(statistics);
    EXPECT_EQ(statistics.byWide, 1);
    EXPECT_EQ(statistics.ulQueuedFrames, 8U);
    EXPECT_EQ(statistics.ullQueuedBytes, 40U);
    clock.Advance(10);
    right.Hear(left);
    left.Hear(right);
    EXPECT_EQ(right.frames.size(), 9U);
    left.link.FillStatistics(statistics);
    EXPECT_EQ(statistics.ulQueuedFrames, 0U);
    EXPECT_TRUE(left.link.Session().IsSendIdle());
    EXPECT_EQ(left.link.Session().GetPendingBytes(), 0U);
    EXPECT_GE(statistics.ulSmallestRoundTripUs, 10000U);
}

// One packet of two is acknowledged when nothing more comes, 5 ms later, by the worker, though a gap is looked at only
// after a second.
TEST_F(WideLink, WhatWaitsForCompanyIsAcknowledgedInTime) {
    const std::string frame(3000, 'b');
    left.link.QueueFrame(frame.data(), 3000);
    const std::string first = left.said.front();
    left.said.pop_front();
    right.Hear(left);
    right.link.OnPacket(first.data(), static_cast<int>(first.size()));
    left.Hear(right);
    left.link.QueueFrame(frame.data(), 3000);
    right.Hear(left, 1);
    const uint64_t due = CDueLinks::Get().Earliest();
    EXPECT_EQ(due, Lumo_Base::GetMicroseconds() + wide::kMostAckDelayUs);
    CDueLinks::Get().Run(due - 1);
    EXPECT_TRUE(right.said.empty());
    clock.Advance(5);
    CDueLinks::Get().Run(Lumo_Base::GetMicroseconds());
    EXPECT_EQ(right.said.size(), 1U);
}

// The worker sleeps until there is something to do, and then probes the tail.
TEST_F(WideLink, PacketsInFlightAreAMatterOfDeadlinesAndNotOfTurns) {
    left.link.QueueFrame("frame", 5);
    ASSERT_EQ(left.said.size(), 1U);
    EXPECT_FALSE(CWorkSignal::Get().AnyBusy());
    const uint64_t sentAt = Lumo_Base::GetMicroseconds();
    for (int i = 0; i < 10 && left.said.size() < 2; ++i) {
        const uint64_t due = CDueLinks::Get().Earliest();
        ASSERT_GT(due, Lumo_Base::GetMicroseconds());
        clock.Advance(static_cast<uint32_t>((due - Lumo_Base::GetMicroseconds() + 999) / 1000));
        CDueLinks::Get().Run(Lumo_Base::GetMicroseconds());
    }
    EXPECT_EQ(left.said.size(), 2U);
    EXPECT_GT(Lumo_Base::GetMicroseconds(), sentAt + 10000);
}

TEST(DueLinks, AreAskedInTheOrderOfTheirDeadlines) {
    struct CDue final : IDue {
        void OnDue(uint64_t) override {}
    };
    CDueLinks links;
    std::array<CDue, 7> dues;
    for (uint64_t i = 0; i < dues.size(); ++i) links.Enter(dues[i], 10 + 3 * i % dues.size());
    for (uint64_t now = 10; now < 10 + dues.size(); ++now) {
        EXPECT_EQ(links.Earliest(), now);
        links.Run(now);
    }
    EXPECT_EQ(links.Earliest(), 0U);
}

TEST_F(WideLink, LeavesNoDeadlineAndNoMemoryBehind) {
    const std::string frame(3000, 'b');
    left.link.QueueFrame(frame.data(), 3000);
    right.Hear(left, 1);
    EXPECT_NE(CDueLinks::Get().Earliest(), 0U);
    EXPECT_GT(SendBudget().Sum(), limits::QueueCost(3000, 1)) << "with what it notes of packets on their way";
    right.link.CloseLink();
    left.link.CloseLink();
    EXPECT_EQ(SendBudget().Sum(), 0U);
    EXPECT_EQ(CDueLinks::Get().Earliest(), 0U);
    clock.Advance(10);
    CDueLinks::Get().Run(Lumo_Base::GetMicroseconds());
    EXPECT_TRUE(right.said.empty());
}

struct CAsked final : IDue {
    void OnDue(uint64_t) override {
        ++times;
        if (fails) throw std::runtime_error("out of memory");
    }
    bool fails = false;
    int times = 0;
};

// Acknowledgements that come together are answered together, and much leaves at once, so that threads do not send in
// each other's gaps. A callback that takes long keeps nothing waiting.
TEST_F(WideLink, SendsOnceForAllThatABurstHasBrought) {
    CFakeNet net;
    auto* manager = new CTestManager;
    manager->Open();
    const std::string frame(32768, 'b');
    for (int i = 0; i < 4; ++i) left.link.QueueFrame(frame.data(), static_cast<int>(frame.size()));
    EXPECT_EQ(net.Udp().flushes, 1) << "of 32 packets; the one that follows stays in the batch";
    manager->ReleaseConnections();
    right.Hear(left);
    ASSERT_GT(right.said.size(), 1U);
    const size_t before = left.said.size();
    clock.Advance(10);
    CDueLinks::Get().BeginBurst();
    left.Hear(right);
    EXPECT_EQ(left.said.size(), before);
    right.link.QueueFrame("frame", 5);
    left.Hear(right);
    EXPECT_GT(left.saidBefore, before);
    right.Hear(left);
    clock.Advance(10);
    left.Hear(right);
    EXPECT_TRUE(left.said.empty());
    CDueLinks::Get().EndBurst(Lumo_Base::GetMicroseconds());
    EXPECT_FALSE(left.said.empty());
}

// A busy link keeps its records; one that has been quiet for a second gives them back.
TEST_F(WideLink, GivesItsRecordsBackOnceItIsIdle) {
    const uint64_t least = SendBudget().Sum();
    for (int i = 0; i < 2000; ++i) left.link.QueueFrame("frame", 5);
    for (int i = 0; i < 2000 && !left.link.Session().IsSendIdle(); ++i) {
        right.Hear(left);
        clock.Advance(1);
        left.Hear(right);
        CDueLinks::Get().Run(Lumo_Base::GetMicroseconds());
    }
    ASSERT_EQ(right.frames.size(), 2001U);
    EXPECT_GT(SendBudget().Sum(), least);
    clock.Advance(1900);
    CDueLinks::Get().Run(Lumo_Base::GetMicroseconds());
    clock.Advance(1100);
    CDueLinks::Get().Run(Lumo_Base::GetMicroseconds());
    EXPECT_LE(SendBudget().Sum(), least);
    EXPECT_EQ(CDueLinks::Get().Earliest(), 0U);
}

// Whoever fails, and those behind, are asked again soon; those before are not.
TEST(DueLinks, AFailureLosesNobodysDeadline) {
    CDueLinks links;
    std::array<CAsked, 3> asked;
    for (size_t i = 0; i < asked.size(); ++i) links.Enter(asked[i], 100 + i);
    asked[1].fails = true;
    EXPECT_THROW(links.Run(1000), std::runtime_error);
    asked[1].fails = false;
    const uint64_t again = links.Earliest();
    EXPECT_GT(again, 1000U);
    links.Run(again);
    EXPECT_EQ(asked[0].times, 1);
    EXPECT_EQ(asked[1].times, 2);
    EXPECT_EQ(asked[2].times, 1);
    EXPECT_EQ(links.Earliest(), 0U);
}

// Once for a burst, by the thread that it comes to, unless they leave before; who fails is asked again soon.
TEST(DueLinks, OfABurstAreAskedAtItsEnd) {
    CDueLinks links;
    std::array<CAsked, 3> asked;
    EXPECT_FALSE(links.AskAfterBurst(asked[0])) << "no burst";
    links.BeginBurst();
    links.AskAfterBurst(asked[0]);
    links.AskNow(50);
    EXPECT_EQ(asked[0].times, 1) << "what comes next takes long";
    for (size_t i = 1; i < 3; ++i) EXPECT_TRUE(links.AskAfterBurst(asked[i]) && links.AskAfterBurst(asked[i]));
    links.Leave(asked[2]);
    EXPECT_EQ(asked[1].times, 0);
    links.EndBurst(100);
    EXPECT_EQ(asked[0].times, 1);
    EXPECT_EQ(asked[1].times, 1);
    EXPECT_EQ(asked[2].times, 0);
    links.BeginBurst();
    asked[0].fails = true;
    links.AskAfterBurst(asked[0]);
    EXPECT_THROW(links.EndBurst(200), std::runtime_error);
    EXPECT_FALSE(links.AskAfterBurst(asked[1])) << "it is over";
    asked[0].fails = false;
    links.Run(links.Earliest());
    EXPECT_EQ(asked[0].times, 3);
}

}  // namespace
