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
#include <map>
#include <memory>
#include <mutex>
#include <stdexcept>
#include <thread>
#include <utility>
#include <vector>

using session_wire::Ack;
using session_wire::Data;
using session_wire::Payload;

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
    explicit CTestLink(unsigned long id = 42, uint32_t strangerIP = 0)
        : CTestOwner(id), CFrameLink(static_cast<ILinkOwner&>(*this)) {
        EXPECT_TRUE(OpenLink(strangerIP));
    }
    ~CTestLink() override { CloseLink(); }

    bool Queue(const std::string& frame) { return QueueFrame(frame.data(), static_cast<int>(frame.size())); }
    void Hear(const std::string& packet) { OnPacket(packet.data(), static_cast<int>(packet.size())); }
    uint64_t DroppedFrames() {
        LumoLinkStatistics statistics;
        FillStatistics(statistics);
        return statistics.ullFramesDropped;
    }
};

TEST(FrameLink, TheFrameAfterLeavesWithTheLastAcknowledgementAndIdleCostsNothing) {
    CVirtualClock clock;
    CTestLink link;
    EXPECT_FALSE(CWorkSignal::Get().AnyBusy());
    ASSERT_TRUE(link.Queue("first") && link.Queue("second"));
    EXPECT_TRUE(CWorkSignal::Get().AnyBusy());
    EXPECT_EQ(Payload(link.TakeLeft()), "first") << "without waiting for the worker";
    EXPECT_EQ(link.TakeLeft(), "");
    link.Hear(Ack(0));
    EXPECT_EQ(Payload(link.TakeLeft()), "second");
    EXPECT_FALSE(link.Pump());
    clock.Advance(200);
    EXPECT_TRUE(link.Pump()) << "the worker repeats it";
    link.Hear(Ack(1));
    EXPECT_FALSE(CWorkSignal::Get().AnyBusy());
    EXPECT_FALSE(link.Pump());
}

TEST(FrameLink, AnAcknowledgementThatFindsManyPacketsDueSendsThemAll) {
    CVirtualClock clock;
    CTestLink link;
    ASSERT_TRUE(link.Queue(std::string(16 * session::kPayloadLen, 'x')));
    const auto leave = [&link] {
        int count = 0;
        while (session_wire::IsData(link.TakeLeft())) ++count;
        return count;
    };
    EXPECT_EQ(leave(), 16);
    clock.Advance(200);
    link.Hear(Ack(0));
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

TEST(FrameLink, WhileHeldAcknowledgementsLeaveAndFramesBeginAfterWhatItCouldNotKeep) {
    CTestLink link;
    link.SetHeld(true);
    EXPECT_TRUE(link.Queue("wait"));
    link.Hear(Data(0, "in"));
    EXPECT_FALSE(session_wire::IsData(link.TakeLeft()));
    EXPECT_EQ(link.TakeLeft(), "");
    EXPECT_EQ(link.delivered, std::vector<std::string>{"in"});
    link.SetHeld(false);
    EXPECT_EQ(Payload(link.TakeLeft()), "wait");
    link.Hear(Ack(0));

    link.SetHeld(true);
    link.SetQueueLimit(limits::kFrameCost + 5);
    EXPECT_TRUE(link.Queue("one"));
    EXPECT_FALSE(link.Queue("two")) << "it does not collect more than it may";
    EXPECT_FALSE(link.Queue("3")) << "nor what follows a gap";
    EXPECT_FALSE(link.IsOverLimit()) << "and is not lost for it";
    link.SetHeld(false);
    EXPECT_EQ(link.TakeLeft(), "") << "what came before the gap is gone";
    EXPECT_TRUE(link.Queue("four"));
    EXPECT_EQ(Payload(link.TakeLeft()), "four");
    EXPECT_EQ(link.DroppedFrames(), 3U);
}

TEST(FrameLink, WhatAnUnvalidatedLinksQueueDropsIsGivenBackOnce) {
    constexpr uint64_t kAll = 300;
    CFirstSends first({kAll, 0, 0});
    CTestLink link;
    link.HoldUntilValidated(first);
    EXPECT_TRUE(link.Queue("old"));
    EXPECT_FALSE(first.Take(kAll));
    link.DropQueue();
    EXPECT_TRUE(first.Take(kAll));
    first.GiveBack(kAll);
    link.SetHeld(false);
    EXPECT_FALSE(first.Take(kAll + 1));
}

TEST(FrameLink, EarlyPacketsFromOneAddressLeaveRoomForThoseFromOthers) {
    const uint64_t limit = EarlyBudget().Limit();
    const std::string early = Data(1, std::string(1000, 'e'));
    EarlyBudget().SetLimit(4 * (early.size() + 1));
    CTestLink one(1, 7), more(2, 7), other(3, 8);
    for (CTestLink* link : {&one, &more, &other}) {
        link->Hear(early);
        EXPECT_EQ(link->TakeLeft().empty(), link == &more);
    }
    EarlyBudget().SetLimit(limit);
}

TEST(FrameLink, LimitsCountTheRoomThatFramesTakeAndADropHealsTheLink) {
    CTestLink link;
    link.SetQueueLimit(limits::kFrameCost + 10);
    EXPECT_TRUE(link.Queue("one"));
    EXPECT_TRUE(link.Queue(std::string(1000, 'w')));
    EXPECT_FALSE(link.IsOverLimit()) << "a long one that merely waits";
    link.Queue("x");
    EXPECT_TRUE(link.IsOverLimit());
    EXPECT_FALSE(link.QueueFrame("x", 64 * 1024 * 1024 + 1)) << "refused before a byte is read";
    EXPECT_FALSE(link.Queue("after a gap"));
    link.Hear(Ack(0));
    EXPECT_TRUE(link.IsOverLimit()) << "also when the queue has become shorter";
    link.DropQueue();
    EXPECT_FALSE(link.IsOverLimit());
    EXPECT_EQ(link.DroppedFrames(), 3U);

    CTestLink queues, sends;
    for (CTestLink* one : {&queues, &sends}) one->SetQueueLimit(1000);
    int queued = 0, sent = 0;
    while (queued < 1000 && queues.Queue("x")) ++queued;
    while (sent < 1000 && sends.SendAtOnce("x", 1)) ++sent;
    EXPECT_TRUE(10 < queued && queued < 20) << queued;
    EXPECT_LT(sent, 250) << "of which those in the window do not count";
}

TEST(LinkRegistry, StaysInTheOrderOfAgeWhoeverLeaves) {
    std::vector<std::unique_ptr<CTestLink>> links;
    std::vector<unsigned long> expected;
    const size_t others = LinkRegistry().Count();
    for (unsigned long id = 100; id < 120; ++id) {
        links.push_back(std::make_unique<CTestLink>(id));
        ASSERT_TRUE(links.back()->OpenLink()) << "opened anew, and still one link";
        expected.push_back(id);
    }
    for (const std::vector<size_t>& leaving : std::vector<std::vector<size_t>>{
             {}, {100}, {119}, {110}, {101, 102, 103, 104, 105, 106, 107, 108, 109, 111, 112, 113, 114, 115, 116}}) {
        for (const size_t id : leaving) {
            for (int i = 0; i < 2; ++i) links[id - 100]->CloseLink();
            expected.erase(std::find(expected.begin(), expected.end(), id));
        }
        std::vector<unsigned long> seen;
        LumoLinkStatistics statistics;
        for (size_t i = others; LinkRegistry().Fill(i, statistics); ++i) seen.push_back(statistics.ulLinkID);
        EXPECT_EQ(seen, expected);
        EXPECT_EQ(LinkRegistry().Count(), others + expected.size());
    }
}

TEST(FrameLink, AFrameThatItsOwnerFailedOnDoesNotSpoilTheNext) {
    CTestLink link;
    link.throws = true;
    link.Hear(Data(1, "second"));
    EXPECT_NE(link.TakeLeft(), "");
    EXPECT_THROW(link.Hear(Data(0, "first")), std::runtime_error);
    EXPECT_NE(link.TakeLeft(), "") << "acknowledged all the same";
    EXPECT_EQ(link.delivered, (std::vector<std::string>{"first", "second"})) << "also what was held behind it";
}

// Both halves of the session are at work meanwhile, packets become due, and somebody looks on.
TEST(FrameLink, FramesOfManyThreadsAllLeaveWithoutAWorker) {
    constexpr uint16_t kThreads = 4, kFrames = 500;
    CVirtualClock clock;
    CTestLink link;
    std::vector<std::jthread> threads;
    for (char t = 'a'; t < 'a' + kThreads; ++t)
        threads.emplace_back([&link, t] {
            for (int i = 0; i < kFrames; ++i) link.Queue(t + std::to_string(i));
        });
    threads.emplace_back([&](const std::stop_token& stop) {
        while (!stop.stop_requested()) {
            clock.Advance(1);
            link.Session().SetWindowSize(clock.Now() % 2 ? 20 : 31);
            EXPECT_EQ(link.DroppedFrames(), 0U);
            std::this_thread::yield();
        }
    });
    std::map<char, int> next;
    for (uint16_t seen = 0; seen < kThreads * kFrames;) {
        const std::string packet = link.TakeLeft(20000);
        ASSERT_FALSE(packet.empty()) << "a frame was left behind after " << seen;
        if (!session_wire::IsData(packet)) continue;  // an acknowledgement of ours
        if (session_wire::Sequence(packet) == seen) {
            const std::string frame = Payload(packet);
            EXPECT_EQ(frame.substr(1), std::to_string(next[frame[0]]++));
            link.Hear(Data(seen++, "back"));
        }
        link.Hear(Ack(session_wire::Sequence(packet)));
    }
    threads.clear();
    EXPECT_TRUE(link.Session().IsSendIdle());
    EXPECT_EQ(link.delivered.size(), size_t{kThreads} * kFrames);
}

}  // namespace
