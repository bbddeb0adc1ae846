// The small building blocks: identities, tables, silence and callbacks.
#include "link/activity.h"
#include "link/callback.h"
#include "link/tables/channel_hub.h"
#include "link/tables/id_table.h"
#include "link/tables/object_id.h"
#include "support/stay.h"
#include "support/virtual_clock.h"

#include <gtest/gtest.h>

#include <chrono>
#include <future>
#include <vector>

namespace {

TEST(ObjectID, CannotBeGuessedFromThoseBefore) {
    const CObjectID first, second, third;
    EXPECT_FALSE(second.Get() == first.Get() + 1 && third.Get() == second.Get() + 1);
}

TEST(IDTable, KeepsItsIndicesInStep) {
    CIDTable<int> table(0);
    int values[] = {1, 2, 3, 4, 5, 6};
    table.Put(30, &values[0], 7, 100);
    table.Put(10, &values[1], 7, 200);
    table.Put(20, &values[2]);
    table.Put(40, &values[3], 7, 200);  // a newer object of the same far side
    table.Put(50, &values[4], 7);
    table.Put(50, &values[5], 8);  // another one, elsewhere
    EXPECT_EQ(table.Take(10), &values[1]);
    EXPECT_TRUE(table.WithPair(7, 200, [](int& value) { EXPECT_EQ(value, 4) << "the newer one is still found"; }));
    EXPECT_EQ(table.Take(40), &values[3]);
    EXPECT_FALSE(table.WithPair(7, 200, [](int&) {}));
    EXPECT_EQ(table.TakeIf(30, [](int&) { return false; }), nullptr);
    EXPECT_TRUE(table.WithPair(7, 100, [](int&) {}));
    EXPECT_EQ(table.Take(99), nullptr);
    std::vector<int> ended;
    const auto sweep = [&](uint32_t channel) { table.SweepChannel(channel, [&](int* one) { ended.push_back(*one); }); };
    sweep(9);
    sweep(7);
    EXPECT_EQ(ended, std::vector<int>{1});
    EXPECT_FALSE(table.WithPair(7, 100, [](int&) {}));
    sweep(8);
    EXPECT_EQ(ended, (std::vector<int>{1, 6}));
    EXPECT_EQ(table.Size(), 1U) << "who is of no channel stays";
}

TEST(IDTable, AWalkGoesOnPastWhatItsVisitsChange) {
    CIDTable<int> table(0);
    int values[] = {0, 1, 2, 3, 4, 5};
    for (uint32_t i = 1; i < 5; ++i) table.Put(i, &values[i]);
    std::vector<int> order;
    int sum = 0;
    for (int& value : table.Each()) {
        order.push_back(value);
        if (value == 1) table.Take(2);
        if (value == 3) {
            table.Take(3);
            table.Put(5, &values[5]);
            table.Put(0, &values[0]);
            for (int& inner : table.Each()) sum += inner;  // within the walk
        }
    }
    EXPECT_EQ(sum, 0 + 1 + 4 + 5);
    EXPECT_EQ(order, (std::vector<int>{1, 3, 4, 5}));
}

TEST(IDTable, SweepEndsEachOutsideTheLockAndSeesWhatEndingChanges) {
    CIDTable<int> table(0);
    int values[] = {1, 2, 3, 4};
    for (uint32_t i = 0; i < 4; ++i) table.Put(i, &values[i]);
    std::vector<int> ended;
    table.Sweep([](int& value) { return value % 2 == 0; },
                [&](int* value) {
                    ended.push_back(*value);
                    table.Take(3);  // ending one takes another out
                });
    EXPECT_EQ(ended, std::vector<int>{2});
    EXPECT_EQ(table.Size(), 2U);
}

TEST(IDTable, SweepingAChannelWaitsForWhatAnotherThreadStillEnds) {
    CIDTable<int> table(0);
    int own = 1, others = 2;
    table.Put(1, &own, 7);
    table.Put(2, &others, 8);
    CStay inside;
    const auto any = [](int&) { return true; };
    const auto nothing = [](int*) {};
    auto ending = std::async(std::launch::async, [&] {
        return table.EndIf(1, any, [&](int*) {
            inside.Stay();
            table.SweepChannel(7, nothing);  // from inside: does not wait for itself
        });
    });
    inside.WaitUntilInside();
    table.SweepChannel(8, nothing);  // another channel's does not wait
    EXPECT_FALSE(inside.HasLeft());
    EXPECT_FALSE(table.EndIf(1, any, nothing)) << "one thread alone ends an object";
    auto sweep = std::async(std::launch::async, [&] { return table.SweepChannel(7, nothing), inside.HasLeft(); });
    EXPECT_EQ(sweep.wait_for(std::chrono::milliseconds(20)), std::future_status::timeout);
    inside.LetGo();
    EXPECT_TRUE(ending.get());
    EXPECT_TRUE(sweep.get()) << "the channel would have gone under its last object";

    table.Put(3, &own, 7);
    const auto failing = [&] { return table.EndIf(3, any, [](int*) { throw std::bad_alloc(); }); };
    EXPECT_THROW(std::async(std::launch::async, failing).get(), std::bad_alloc);
    table.SweepChannel(7, nothing);  // would wait for ever
}

TEST(Activity, AThreadThatHasReadTheClockEarlierSeesNoSilence) {
    CVirtualClock clock(10);
    CActivity activity;
    activity.Touch();
    clock.Set(UINT32_MAX - 5);
    EXPECT_FALSE(activity.SilentFor(180000));
    EXPECT_EQ(activity.Last(), 10U);
}

TEST(Callback, ASlowOneStampsWhatItSendsWithTheTimeOfThen) {
    CVirtualClock clock;
    const Lumo_Base::CTimeHold burst;
    const uint32_t begun = CActivity::Now();
    CallApplication([&] {
        clock.Advance(500);
        EXPECT_EQ(CActivity::Now(), begun + 500);
    });
    EXPECT_EQ(CActivity::Now(), begun + 500);
}

TEST(LeastBuffered, IsTheMinimumAndNeverMoreThanTheCeiling) {
    struct Row {
        std::vector<uint32_t> waiting;
        uint32_t result;
    };
    const Row rows[] = {{{}, 0}, {{3, 9000}, 3}, {{9000, 10000}, 8192}, {{5, 0, 7}, 0}, {{8192}, 8192}};
    for (const Row& row : rows) {
        CLeastBuffered least;
        for (uint32_t waiting : row.waiting)
            if (!least.Ask(waiting)) break;
        EXPECT_EQ(least.Result(), row.result);
    }
}

}  // namespace
