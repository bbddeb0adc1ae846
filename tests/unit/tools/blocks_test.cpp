// Which blocks are there and which are wanted: the sets, the table of receivers, the pace and the link policy.
#include "tools/lumo/transfer/block_map.h"
#include "tools/lumo/transfer/link_policy.h"
#include "tools/lumo/transfer/pace.h"
#include "tools/lumo/transfer/receiver_table.h"

#include <gtest/gtest.h>

#include <random>
#include <set>

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
    for (uint32_t size : {1U, 63U, 64U, 65U, 500U}) {
        CBlockMap map(size);
        std::set<uint32_t> lacking;
        for (uint32_t i = 0; i < size; ++i) lacking.insert(i + 10);
        for (int step = 0; step < 3000; ++step) {
            const uint32_t block = static_cast<uint32_t>(random()) % size;
            if (random() % 4 != 0) {
                map.Set(block);
                lacking.erase(block + 10);
            } else {
                map.Clear(block);
                lacking.insert(block + 10);
            }
            if (step % 16 != 0) continue;
            std::vector<BlockRange> ranges;
            map.AddLacking(10, ranges);
            ASSERT_EQ(Expand(ranges), lacking) << size << " " << step;
            ASSERT_EQ(map.Held(), size - lacking.size());
            for (size_t i = 1; i < ranges.size(); ++i)
                ASSERT_GT(ranges[i].first, ranges[i - 1].first + ranges[i - 1].count)
                    << "ranges that touch are refused";
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

TEST(BlockRanges, AgreeWithAPlainSet) {
    std::mt19937 random(4);
    for (int round = 0; round < 50; ++round) {
        std::vector<BlockRange> start;
        for (uint32_t at = 0; at < 300; at += 2 + static_cast<uint32_t>(random()) % 20) {
            const uint32_t count = 1 + static_cast<uint32_t>(random()) % 10;
            start.push_back({at, count});
            at += count;
        }
        std::set<uint32_t> reference = Expand(start);
        CBlockRanges ranges(start);
        for (int step = 0; step < 400; ++step) {
            const uint32_t block = static_cast<uint32_t>(random()) % 320;
            const auto next = reference.lower_bound(block);
            ASSERT_EQ(ranges.NextFrom(block), next == reference.end() ? CBlockRanges::kNone : *next);
            ranges.Remove(block);
            reference.erase(block);
        }
        ASSERT_EQ(Expand(ranges.Ranges()), reference);
    }
}

TEST(SentBlocks, WhatIsOnItsWayIsNotSentAgain) {
    CSentBlocks sent;
    for (uint32_t block = 0; block < 1000; ++block) sent.Add(block);
    CBlockRanges lacking({{900, 200}});
    sent.Subtract(950, lacking);  // serial 951 carried block 950
    EXPECT_EQ(Expand(lacking.Ranges()), Expand({{900, 50}, {1000, 100}}));
    CBlockRanges old({{0, 1000}});
    sent.Subtract(0, old);
    EXPECT_LE(old.NextFrom(0), 1000U - 2 * kLeadBlocks) << "what left long ago and has not come is lost";
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
    struct Row {
        double framesPerMs;
        uint32_t least, most;
    };
    for (const Row& row :
         {Row{0.01, kMinQueuedFrames, kMinQueuedFrames}, Row{0.1, 8, 12}, Row{5, kMaxQueuedFrames, kMaxQueuedFrames}}) {
        CQueuePace pace;
        double queued = 0;
        for (uint64_t now = 1000; now < 4000; ++now) {
            queued = std::max(0.0, queued - row.framesPerMs);
            pace.Update(now, static_cast<uint32_t>(queued));
            while (pace.MayQueue(static_cast<uint32_t>(queued))) {
                queued += 1;
                pace.OnQueued();
            }
        }
        EXPECT_GE(pace.Depth(), row.least) << row.framesPerMs;
        EXPECT_LE(pace.Depth(), row.most) << row.framesPerMs;
    }
}

/// What the policy does with a link that is in the given condition all the time: the times of its actions.
struct PolicyRun {
    std::vector<uint64_t> created, released;
    PolicyRun(uint64_t until, bool accepted, uint64_t lifeEvery, bool lost) {
        CLinkPolicy policy;
        for (uint64_t now = 1000; now < 1000 + until; now += 10) {
            switch (policy.Poll(now, lost && policy.IsUp())) {
                case LinkAction::Create:
                    created.push_back(now - 1000);
                    if (accepted) policy.OnAccepted(now);
                    break;
                case LinkAction::Release:
                    released.push_back(now - 1000);
                    break;
                case LinkAction::None:
                    break;
            }
            if (lifeEvery != 0 && now % lifeEvery == 0 && policy.IsUp()) policy.OnSignOfLife(now);
        }
    }
};

TEST(LinkPolicy, SilenceAndLossRemakeTheLinkEverMoreSlowly) {
    const auto gaps = [](const PolicyRun& run) {
        std::vector<uint64_t> result;
        for (size_t i = 1; i < run.created.size(); ++i) result.push_back(run.created[i] - run.released[i - 1]);
        return result;
    };
    const PolicyRun healthy(60000, true, 1000, false);
    EXPECT_EQ(healthy.created.size(), 1U);
    EXPECT_TRUE(healthy.released.empty());

    const PolicyRun unanswered(60000, false, 0, false);
    EXPECT_EQ(unanswered.released[0], 3010U) << "three seconds of silence";
    EXPECT_EQ(unanswered.released[1] - unanswered.created[1], 6010U) << "an answer may take longer than that";
    EXPECT_EQ(unanswered.released[4] - unanswered.created[4], 12010U);
    EXPECT_EQ(gaps(unanswered), (std::vector<uint64_t>{200, 500, 1000, 2000, 4000}));

    const PolicyRun refused(30000, false, 0, true);
    EXPECT_EQ(gaps(refused), (std::vector<uint64_t>{200, 500, 1000, 2000, 4000, 5000, 5000, 5000, 5000}));

    // Taken by the relay, but nobody speaks: there at once again, and more patient each time.
    const PolicyRun lonely(60000, true, 0, false);
    EXPECT_EQ(lonely.released[0], 3010U);
    EXPECT_EQ(lonely.released[1] - lonely.created[1], 6010U);
    EXPECT_EQ(lonely.released[3] - lonely.created[3], 12010U);
    EXPECT_EQ(gaps(lonely), std::vector<uint64_t>(gaps(lonely).size(), 200));
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
