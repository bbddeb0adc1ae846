// The frame link: its queue, its pump and what it does with exceptions and limits.
#include "link/udp/frame_link.h"

#include "link/process/link_registry.h"
#include "link/process/work_signal.h"
#include "support/hand_clock.h"
#include "support/session_wire.h"
#include "support/virtual_clock.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <condition_variable>
#include <deque>
#include <memory>
#include <mutex>
#include <stdexcept>
#include <thread>
#include <tuple>
#include <utility>
#include <vector>

namespace {

/// Keeps what leaves and what is delivered.
class CTestOwner : public ILinkOwner {
public:
    explicit CTestOwner(unsigned long id) : m_ulID(id) {}
    virtual ~CTestOwner() = default;
    /// The next packet that left; empty after `milliseconds` without one.
    std::string TakeLeft(int milliseconds = 0) {
        std::unique_lock<std::mutex> lock(mutex);
        ready.wait_for(lock, std::chrono::milliseconds(milliseconds), [this] { return !left.empty(); });
        if (left.empty()) return "";
        std::string packet = std::move(left.front());
        left.pop_front();
        return packet;
    }

    std::vector<std::string> delivered;
    bool throws = false;

private:
    void OnSCTPSessionReceivedFrame(char* frame, int length) override {
        delivered.emplace_back(frame, static_cast<size_t>(length));
        if (std::exchange(throws, false)) throw std::runtime_error("for want of memory");
    }
    void SendSCTPData(char* packet, int length) override {
        std::lock_guard<std::mutex> lock(mutex);
        left.emplace_back(packet, static_cast<size_t>(length));
        ready.notify_one();
    }
    void DescribeLink(LumoLinkStatistics& statistics) const override { statistics.ulLinkID = m_ulID; }

    const unsigned long m_ulID;
    std::mutex mutex;
    std::condition_variable ready;
    std::deque<std::string> left;
};

class CTestLink : public CTestOwner, public CFrameLink {
public:
    explicit CTestLink(unsigned long id = 42) : CTestOwner(id), CFrameLink(static_cast<ILinkOwner&>(*this)) {}
    ~CTestLink() override { CloseLink(); }
};

TEST(FrameLink, TheFrameAfterLeavesWithTheLastAcknowledgementAndIdleCostsNothing) {
    CVirtualClock clock;
    CTestLink link;
    ASSERT_TRUE(link.OpenLink());
    EXPECT_FALSE(CWorkSignal::Get().AnyBusy());
    ASSERT_TRUE(link.QueueFrame("first", 5));
    ASSERT_TRUE(link.QueueFrame("second", 6));
    EXPECT_TRUE(CWorkSignal::Get().AnyBusy());
    EXPECT_EQ(session_wire::Payload(link.TakeLeft()), "first") << "without waiting for the worker";
    EXPECT_EQ(link.TakeLeft(), "");
    const std::string ack = session_wire::Ack(0);
    link.OnPacket(ack.data(), static_cast<int>(ack.size()));
    EXPECT_EQ(session_wire::Payload(link.TakeLeft()), "second");
    EXPECT_FALSE(link.Pump());
    clock.Advance(200);
    EXPECT_TRUE(link.Pump()) << "the worker repeats it";
    const std::string last = session_wire::Ack(1);
    link.OnPacket(last.data(), static_cast<int>(last.size()));
    EXPECT_FALSE(CWorkSignal::Get().AnyBusy());
    EXPECT_FALSE(link.Pump());
}

TEST(FrameLink, AnAcknowledgementThatFindsManyPacketsDueSendsThemAll) {
    CVirtualClock clock;
    CTestLink link;
    ASSERT_TRUE(link.OpenLink());
    const std::string frame(16 * session::kPayloadLen, 'x');
    ASSERT_TRUE(link.QueueFrame(frame.data(), static_cast<int>(frame.size())));
    const auto leave = [&link] {
        int count = 0;
        while (session_wire::IsData(link.TakeLeft())) ++count;
        return count;
    };
    EXPECT_EQ(leave(), 16);
    clock.Advance(200);
    const std::string ack = session_wire::Ack(0);
    link.OnPacket(ack.data(), static_cast<int>(ack.size()));
    EXPECT_EQ(leave(), 15) << "a pass sends four at most, so passes repeat";
}

TEST(FrameLink, OnlyTheLastCallbackTellsWhetherTheApplicationIsQuick) {
    CBasicCallPace<CHandClock> pace;
    const auto quickAfter = [&pace](int us) {
        {
            const CBasicCallPace<CHandClock>::CTiming timing(pace);
            CHandClock::s_now += std::chrono::microseconds(us);
        }
        return pace.WasQuick();
    };
    EXPECT_FALSE(pace.WasQuick()) << "nothing known yet";
    EXPECT_TRUE(quickAfter(100));
    EXPECT_FALSE(quickAfter(101));
    EXPECT_TRUE(quickAfter(0));
}

TEST(FrameLink, WhileHeldFramesWaitButAcknowledgementsLeave) {
    CTestLink link;
    ASSERT_TRUE(link.OpenLink());
    link.SetHeld(true);
    link.QueueFrame("wait", 4);
    EXPECT_EQ(link.TakeLeft(), "");
    const std::string data = session_wire::Data(0, "in");
    link.OnPacket(data.data(), static_cast<int>(data.size()));
    EXPECT_FALSE(session_wire::IsData(link.TakeLeft()));
    EXPECT_EQ(link.delivered, (std::vector<std::string>{"in"}));
    link.SetHeld(false);
    EXPECT_EQ(session_wire::Payload(link.TakeLeft()), "wait");
}

TEST(FrameLink, AHeldLinkBeginsAfterWhatItCouldNotKeep) {
    CTestLink link;
    ASSERT_TRUE(link.OpenLink());
    link.SetHeld(true);
    link.SetQueueLimit(limits::kFrameCost + 5);
    EXPECT_TRUE(link.QueueFrame("one", 3));
    EXPECT_FALSE(link.QueueFrame("two", 3)) << "it does not collect more than it may";
    EXPECT_FALSE(link.QueueFrame("3", 1)) << "nor what follows a gap";
    EXPECT_FALSE(link.IsOverLimit()) << "and is not lost for it";
    link.SetHeld(false);
    EXPECT_EQ(link.TakeLeft(), "") << "what came before the gap is gone";
    EXPECT_TRUE(link.QueueFrame("four", 4));
    EXPECT_EQ(session_wire::Payload(link.TakeLeft()), "four");
    LumoLinkStatistics statistics;
    link.FillStatistics(statistics);
    EXPECT_EQ(statistics.ullFramesDropped, 3U);
}

TEST(FrameLink, WhatAnUnvalidatedLinksQueueDropsIsGivenBackOnce) {
    constexpr uint64_t kAll = 300;
    CFirstSends first({kAll, 0, 0});
    CTestLink link;
    ASSERT_TRUE(link.OpenLink());
    link.HoldUntilValidated(first);
    EXPECT_TRUE(link.QueueFrame("old", 3));
    EXPECT_FALSE(first.Take(kAll));
    link.DropQueue();
    EXPECT_TRUE(first.Take(kAll));
    first.GiveBack(kAll);
    link.SetHeld(false);
    EXPECT_FALSE(first.Take(kAll + 1));
}

TEST(FrameLink, EarlyPacketsFromOneAddressLeaveRoomForThoseFromOthers) {
    const uint64_t limit = EarlyBudget().Limit();
    const std::string early = session_wire::Data(1, std::string(1000, 'e'));
    CTestLink one, more, other;
    for (const auto& [link, ip, kept] : {std::tuple{&one, 7U, true}, {&more, 7U, false}, {&other, 8U, true}}) {
        EarlyBudget().SetLimit(4 * (early.size() + 1));
        ASSERT_TRUE(link->OpenLink(ip));
        link->OnPacket(early.data(), static_cast<int>(early.size()));
        EXPECT_EQ(!link->TakeLeft().empty(), kept) << ip;
    }
    EarlyBudget().SetLimit(limit);
}

TEST(FrameLink, ShortFramesCountForTheRoomTheyTake) {
    CTestLink link;
    ASSERT_TRUE(link.OpenLink());
    link.SetQueueLimit(1000);
    int taken = 0;
    while (taken < 1000 && link.QueueFrame("x", 1)) ++taken;
    EXPECT_GT(taken, 10);
    EXPECT_LT(taken, 20);

    CTestLink other;
    ASSERT_TRUE(other.OpenLink());
    other.SetQueueLimit(1000);
    for (taken = 0; taken < 1000 && other.SendAtOnce("x", 1);) ++taken;
    EXPECT_LT(taken, 250) << "of which those in the window do not count";
}

TEST(FrameLink, LimitsDropsAndStatistics) {
    CTestLink link;
    ASSERT_TRUE(link.OpenLink());
    link.SetQueueLimit(limits::kFrameCost + 10);
    link.QueueFrame("one", 3);
    link.QueueFrame(std::string(1000, 'w').data(), 1000);
    EXPECT_FALSE(link.IsOverLimit()) << "a long one that merely waits";
    link.QueueFrame("x", 1);
    EXPECT_TRUE(link.IsOverLimit());
    EXPECT_FALSE(link.QueueFrame("x", 64 * 1024 * 1024 + 1)) << "refused before a byte is read";
    EXPECT_FALSE(link.QueueFrame("after a gap", 11));
    for (int i = 0; i < 3; ++i) link.OnPacket(session_wire::Ack(0).data(), session::kHeaderLen);
    EXPECT_TRUE(link.IsOverLimit()) << "also when the queue has become shorter";
    link.DropQueue();
    EXPECT_FALSE(link.IsOverLimit());

    LumoLinkStatistics statistics;
    const size_t last = LinkRegistry().Count() - 1;
    ASSERT_TRUE(LinkRegistry().Fill(last, statistics));
    EXPECT_EQ(statistics.ulLinkID, 42U);
    EXPECT_EQ(statistics.ullFramesDropped, 3U);
    EXPECT_EQ(statistics.ullFramesSent, 2U);
    link.CloseLink();
    EXPECT_FALSE(LinkRegistry().Fill(last, statistics));
}

TEST(LinkRegistry, StaysInTheOrderOfAgeWhoeverLeaves) {
    constexpr size_t kLinks = 20;
    CVirtualClock clock;
    std::vector<std::unique_ptr<CTestLink>> links;
    const size_t others = LinkRegistry().Count();
    const auto ids = [&] {
        std::vector<unsigned long> seen;
        LumoLinkStatistics statistics;
        for (size_t i = others; LinkRegistry().Fill(i, statistics); ++i) seen.push_back(statistics.ulLinkID);
        EXPECT_EQ(LinkRegistry().Count(), others + seen.size());
        return seen;
    };
    std::vector<unsigned long> expected;
    for (size_t i = 0; i < kLinks; ++i) {
        links.push_back(std::make_unique<CTestLink>(100 + i));
        ASSERT_TRUE(links.back()->OpenLink());
        ASSERT_TRUE(links.back()->OpenLink()) << "opened anew, and still one link";
        expected.push_back(100 + i);
    }
    EXPECT_EQ(ids(), expected);
    const auto leave = [&](size_t id) {
        links[id - 100]->CloseLink();
        links[id - 100]->CloseLink();
        expected.erase(std::find(expected.begin(), expected.end(), id));
    };
    for (const size_t id : {100U, 119U, 110U}) {
        leave(id);
        EXPECT_EQ(ids(), expected) << id;
    }
    for (size_t id = 101; id < 110; ++id) leave(id);
    for (size_t id = 111; id < 117; ++id) leave(id);  // many at once
    EXPECT_EQ(LinkRegistry().Count(), others + expected.size());
    EXPECT_EQ(ids(), expected);
}

TEST(FrameLink, AFrameThatItsOwnerFailedOnDoesNotSpoilTheNext) {
    CTestLink link;
    ASSERT_TRUE(link.OpenLink());
    const std::string first = session_wire::Data(0, "first");
    const std::string second = session_wire::Data(1, "second");
    link.throws = true;
    link.OnPacket(second.data(), static_cast<int>(second.size()));
    EXPECT_NE(link.TakeLeft(), "");
    EXPECT_THROW(link.OnPacket(first.data(), static_cast<int>(first.size())), std::runtime_error);
    EXPECT_NE(link.TakeLeft(), "") << "acknowledged all the same";
    EXPECT_EQ(link.delivered, (std::vector<std::string>{"first", "second"})) << "also what was held behind it";
}

TEST(FrameLink, FramesOfManyThreadsAllLeaveWithoutAWorker) {
    constexpr int kThreads = 4, kFrames = 500;
    CTestLink link;
    ASSERT_TRUE(link.OpenLink());
    std::vector<std::thread> threads;
    for (char t = 0; t < kThreads; ++t)
        threads.emplace_back([&link, t] {
            for (int i = 0; i < kFrames; ++i) {
                const std::string frame = std::string(1, static_cast<char>('a' + t)) + std::to_string(i);
                link.QueueFrame(frame.data(), static_cast<int>(frame.size()));
            }
        });
    int next[kThreads] = {};
    for (int seen = 0; seen < kThreads * kFrames; ++seen) {
        const std::string packet = link.TakeLeft(20000);
        ASSERT_FALSE(packet.empty()) << "a frame was left behind after " << seen;
        const std::string frame = session_wire::Payload(packet);
        EXPECT_EQ(frame.substr(1), std::to_string(next[frame[0] - 'a']++));
        const std::string ack = session_wire::Ack(session_wire::Sequence(packet));
        link.OnPacket(ack.data(), static_cast<int>(ack.size()));
    }
    for (std::thread& thread : threads) thread.join();
    EXPECT_TRUE(link.Session().IsSendIdle());
}

}  // namespace
