// Which blocks are there and which are wanted: the sets, the table of receivers, the pace and the link policy.
#include "tools/lumo/transfer/block_map.h"
#include "tools/lumo/transfer/link_policy.h"
#include "tools/lumo/transfer/pace.h"
#include "tools/lumo/transfer/receiver_table.h"

#include <gtest/gtest.h>

#include <random>
#include <set>
#include <utility>

using namespace lumo;

namespace {

std::set<uint32_t> Expand(const std::vector<BlockRange>& ranges) {
    std::set<uint32_t> blocks;
    for (const BlockRange& range : ranges) {
        for (uint32_t i = 0; i < range.count; ++i) blocks.insert(range.first + i);
    }
    return blocks;
}

TEST(BlockMap, AgreesWithAPlainSet) {
    std::mt19937 random(3);
    for (const uint32_t size : {1U, 63U, 64U, 65U, 500U}) {
        CBlockMap map(size);
        std::set<uint32_t> lacking = Expand({{10, size}});
        for (int step = 0; step < 3000; ++step) {
            const uint32_t block = static_cast<uint32_t>(random()) % size;
            const bool set = random() % 4 != 0;
            set ? map.Set(block) : map.Clear(block);
            if (set) lacking.erase(block + 10);
            if (!set) lacking.insert(block + 10);
            if (step % 16 != 0) continue;
            std::vector<BlockRange> ranges;
            map.AddLacking(10, ranges);
            ASSERT_EQ(Expand(ranges), lacking) << size << " " << step;
            ASSERT_EQ(map.Held(), size - lacking.size());
            for (size_t i = 1; i < ranges.size(); ++i)
                ASSERT_GT(ranges[i].first, ranges[i - 1].first + ranges[i - 1].count) << "they must not touch";
        }
    }
}

TEST(BlockMap, NamesAtMostSoManyRangesAndJoinsNeighbouringFiles) {
    CBlockMap holes(4 * kMaxRanges);
    for (uint32_t block = 0; block < holes.Blocks(); block += 2) holes.Set(block);
    std::vector<BlockRange> ranges;
    holes.AddLacking(0, ranges);
    EXPECT_EQ(ranges.size(), kMaxRanges);
    EXPECT_EQ(ranges.back(), (BlockRange{2 * kMaxRanges - 1, 1}));

    ranges.clear();
    CBlockMap(5).AddLacking(0, ranges);
    CBlockMap(7).AddLacking(5, ranges);
    EXPECT_EQ(ranges, (std::vector<BlockRange>{{0, 12}}));
}

TEST(SentBlocks, WhatIsOnItsWayIsNotSentAgain) {
    CSentBlocks sent;
    for (uint32_t block = 0; block < 1000; ++block) sent.Add(block, 0);
    CBlockRanges lacking({{900, 200}});
    sent.Subtract(950, lacking);  // serial 951 carried block 950
    EXPECT_EQ(Expand(lacking.Ranges()), Expand({{900, 50}, {1000, 100}}));
    CBlockRanges old({{0, 1000}});
    sent.Subtract(0, old);
    EXPECT_LE(old.NextFrom(0), 1000U - 2 * kMostLeadBlocks) << "what left long ago and has not come is lost";
}

TEST(ReceiverTable, StrangersCannotCrowdOutTheLiving) {
    CReceiverTable table;
    for (uint64_t id = 1; id <= kMaxReceivers; ++id) table.FindOrAdd(id, 1000)->heardMs = 1000;
    EXPECT_EQ(table.FindOrAdd(5000, 1500), nullptr);
    EXPECT_NE(table.FindOrAdd(7, 1500), nullptr) << "a known one is found";
    table.Find(77)->state = ReceiverState::Complete;
    EXPECT_NE(table.FindOrAdd(5000, 1500), nullptr) << "in the place of one that is done";
    EXPECT_EQ(table.Find(77), nullptr);
    EXPECT_NE(table.FindOrAdd(5001, 1000 + kReceiverSilentMs), nullptr) << "in the place of a silent one";
    EXPECT_EQ(table.Entries().size(), kMaxReceivers);
}

TEST(Pace, DepthFollowsWhatThePathTakes) {
    const struct {
        double framesPerMs;
        uint32_t least, most;
    } rows[] = {{0.01, kMinQueuedFrames, kMinQueuedFrames}, {0.1, 8, 12}, {5, kMaxQueuedFrames, kMaxQueuedFrames}};
    for (const auto& row : rows) {
        CQueuePace pace;
        double queued = 0;
        for (uint64_t now = 1000; now < 4000; ++now) {
            queued = std::max(0.0, queued - row.framesPerMs);
            pace.Update(now, static_cast<uint32_t>(queued));
            for (; pace.MayQueue(static_cast<uint32_t>(queued)); queued += 1) pace.OnQueued();
        }
        EXPECT_GE(pace.Depth(), row.least) << row.framesPerMs;
        EXPECT_LE(pace.Depth(), row.most) << row.framesPerMs;
    }
}

/// How long the link lives each time and how long the pauses are, in one minute of that condition.
struct PolicyRun {
    std::vector<uint64_t> lives, pauses;
    PolicyRun(bool accepted, bool alive, bool lost) {
        CLinkPolicy policy;
        uint64_t last = 1000;  // when it was made or given up
        for (uint64_t now = 1000; now < 61000; now += 10) {
            const LinkAction action = policy.Poll(now, lost && policy.IsUp());
            if (action != LinkAction::None)
                (action == LinkAction::Create ? pauses : lives).push_back(now - std::exchange(last, now));
            if (action == LinkAction::Create && accepted) policy.OnAccepted(now);
            if (alive && now % 1000 == 0 && policy.IsUp()) policy.OnSignOfLife(now);
        }
    }
};

TEST(LinkPolicy, SilenceAndLossRemakeTheLinkEverMoreSlowly) {
    using Times = std::vector<uint64_t>;
    const PolicyRun healthy(true, true, false), unanswered(false, false, false), refused(false, false, true),
        lonely(true, false, false);
    EXPECT_EQ(healthy.lives, Times());
    EXPECT_EQ(unanswered.lives, (Times{3010, 6010, 12010, 12010, 12010})) << "an answer may take longer than 3 s";
    EXPECT_EQ(unanswered.pauses, (Times{0, 200, 500, 1000, 2000, 4000}));
    EXPECT_EQ(Times(refused.pauses.begin(), refused.pauses.begin() + 9),
              (Times{0, 200, 500, 1000, 2000, 4000, 5000, 5000, 5000}));
    // Taken by the relay, but nobody speaks: there at once again, and more patient each time.
    EXPECT_EQ(lonely.lives, (Times{3010, 6010, 12010, 12010, 12010, 12010}));
    EXPECT_EQ(lonely.pauses, (Times{0, 200, 200, 200, 200, 200, 200}));
}

TEST(LinkPolicy, ASignMayBeNewerThanTheClockOfThePoll) {
    CLinkPolicy policy;
    ASSERT_EQ(policy.Poll(1000, false), LinkAction::Create);
    policy.OnAccepted(1000);
    policy.OnSignOfLife(1501);
    EXPECT_EQ(policy.Poll(1500, false), LinkAction::None);
    EXPECT_EQ(policy.Poll(4502, false), LinkAction::Release);
}

}  // namespace
