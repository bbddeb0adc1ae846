// The small building blocks: identities, tables, addresses, silence and poll counts.
#include "link/activity.h"
#include "link/callback.h"
#include "link/relay_request.h"
#include "link/tables/channel_hub.h"
#include "link/tables/id_table.h"
#include "link/tables/object_id.h"
#include "support/virtual_clock.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <future>
#include <memory>
#include <set>
#include <vector>

namespace {

TEST(ObjectID, IsUniqueAmongLiveObjectsAndNeverZero) {
    std::vector<std::unique_ptr<CObjectID>> ids;
    std::set<uint32_t> seen;
    for (int i = 0; i < 10000; ++i) {
        ids.push_back(std::make_unique<CObjectID>());
        EXPECT_NE(ids.back()->Get(), 0U);
        EXPECT_TRUE(seen.insert(ids.back()->Get()).second);
    }
    int ascending = 0;
    for (size_t i = 1; i < ids.size(); ++i) ascending += ids[i]->Get() == ids[i - 1]->Get() + 1;
    EXPECT_LT(ascending, 3) << "guessable";
}

TEST(IDTable, KeepsItsTwoIndicesInStep) {
    CIDTable<int> table(0);
    int a = 1, b = 2, c = 3;
    table.Put(30, &a, 7, 100);
    table.Put(10, &b, 7, 200);
    table.Put(20, &c);
    std::vector<int> order;
    for (int& value : table.Each()) order.push_back(value);
    EXPECT_EQ(order, (std::vector<int>{2, 3, 1})) << "ascending IDs";

    EXPECT_TRUE(table.WithPair(7, 200, [&](int& value) { EXPECT_EQ(value, 2); }));
    table.Put(40, &c, 7, 200);  // a newer object of the same far side
    EXPECT_EQ(table.Take(10), &b);
    EXPECT_TRUE(table.WithPair(7, 200, [&](int& value) { EXPECT_EQ(value, 3); })) << "the newer one is still found";
    EXPECT_EQ(table.Take(40), &c);
    EXPECT_FALSE(table.WithPair(7, 200, [](int&) {}));
    EXPECT_EQ(table.TakeIf(30, [](int&) { return false; }), nullptr);
    EXPECT_TRUE(table.WithPair(7, 100, [](int&) {}));
    EXPECT_EQ(table.Take(99), nullptr);
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
    EXPECT_EQ(ended, (std::vector<int>{2}));
    EXPECT_EQ(table.Size(), 2U);
}

TEST(IDTable, SweepsAChannelWithoutALookAtTheOthers) {
    CIDTable<int> table(0);
    int values[] = {1, 2, 3, 4, 5, 6};
    table.Put(10, &values[0], 7);
    table.Put(20, &values[1], 7, 100);
    table.Put(30, &values[2], 8, 100);
    table.Put(40, &values[3]);
    table.Put(50, &values[4], 7);
    table.Put(50, &values[5], 8);  // another one, elsewhere
    std::vector<int> ended;
    table.SweepChannel(7, [&](int* value) { ended.push_back(*value); });
    EXPECT_EQ(ended, (std::vector<int>{1, 2}));
    EXPECT_FALSE(table.WithPair(7, 100, [](int&) {}));
    table.SweepChannel(9, [&](int* value) { ended.push_back(*value); });
    EXPECT_EQ(table.Take(30), &values[2]);
    table.SweepChannel(8, [&](int* value) { ended.push_back(*value); });
    EXPECT_EQ(ended, (std::vector<int>{1, 2, 6}));
    EXPECT_EQ(table.Size(), 1U) << "who is of no channel stays";
}

TEST(IDTable, SweepingAChannelWaitsForWhatAnotherThreadStillEnds) {
    CIDTable<int> table(0);
    int own = 1;
    int others = 2;
    table.Put(1, &own, 7);
    table.Put(2, &others, 8);
    std::promise<void> begun;
    std::promise<void> mayEnd;
    std::atomic<bool> ended{false};
    auto ending = std::async(std::launch::async, [&] {
        return table.EndIf(
            1, [](int&) { return true; },
            [&](int*) {
                begun.set_value();
                mayEnd.get_future().wait();
                table.SweepChannel(7, [](int*) {});  // from inside: does not wait for itself
                ended = true;
            });
    });
    begun.get_future().wait();
    table.SweepChannel(8, [](int*) {});  // another channel's does not wait
    EXPECT_FALSE(ended);
    EXPECT_FALSE(table.EndIf(
        1, [](int&) { return true; }, [](int*) {}))
        << "one thread alone ends an object";
    auto sweep = std::async(std::launch::async, [&] {
        table.SweepChannel(7, [](int*) {});
        return ended.load();
    });
    EXPECT_EQ(sweep.wait_for(std::chrono::milliseconds(20)), std::future_status::timeout);
    mayEnd.set_value();
    EXPECT_TRUE(ending.get());
    EXPECT_TRUE(sweep.get()) << "the channel would have gone under its last object";

    table.Put(3, &own, 7);
    const auto failing = [&] {
        return table.EndIf(
            3, [](int&) { return true; }, [](int*) { throw std::bad_alloc(); });
    };
    EXPECT_THROW(std::async(std::launch::async, failing).get(), std::bad_alloc);
    table.SweepChannel(7, [](int*) {});  // would wait for ever
}

struct McuRow {
    CMcuAddress peer, local;
    bool peerOnly;
    bool choosesPeer;
};

TEST(McuAddress, RelayRule) {
    const uint32_t a = 1, b = 2, c = 3;
    const McuRow rows[] = {
        {{{a, 0, b}, 7000}, {{c, a, 0}, 7000}, false, true},   // one server under two names
        {{{a, 0, b}, 7000}, {{c, 0, 0}, 7000}, false, false},  // a nearer one
        {{{a, 0, b}, 7000}, {{c, 0, 0}, 7000}, true, true},
        {{{a, 0, b}, 7000}, {{c, 0, 0}, 0}, false, true},
        {{{a, 0, b}, 7000}, {{0, 0, 0}, 7000}, false, true},
        {{{0, 0, 0}, 7000}, {{0, 0, c}, 7000}, false, false},  // zeros are no address in common
    };
    for (const McuRow& row : rows) {
        CRelayRequest request;
        request.Set(row.peer, row.local, row.peerOnly);
        EXPECT_EQ(request.Server() == row.peer, row.choosesPeer);
    }
}

TEST(McuAddress, EachDistinctAddressOnce) {
    const auto distinct = [](uint32_t x, uint32_t y, uint32_t z) {
        std::vector<uint32_t> ips;
        CMcuAddress{{x, y, z}, 1}.ForEachDistinct([&](uint32_t ip) { ips.push_back(ip); });
        return ips;
    };
    using IPs = std::vector<uint32_t>;
    EXPECT_EQ(distinct(1, 1, 2), (IPs{1, 2}));
    EXPECT_EQ(distinct(1, 2, 1), (IPs{1, 2}));
    EXPECT_EQ(distinct(0, 0, 3), (IPs{3}));
    EXPECT_EQ(distinct(3, 0, 3), (IPs{3}));
    EXPECT_EQ(distinct(0, 0, 0), (IPs{}));
    EXPECT_EQ(distinct(1, 2, 3), (IPs{1, 2, 3}));
}

TEST(Activity, IsStrictAndForgivesAClockThatGoesBack) {
    CVirtualClock clock(5000);
    CActivity activity;
    EXPECT_TRUE(activity.SilentFor(4999)) << "0 at construction";
    activity.Touch();
    clock.Advance(100);
    EXPECT_FALSE(activity.SilentFor(100));
    EXPECT_TRUE(activity.SilentFor(99));
    clock.Set(10);
    EXPECT_FALSE(activity.SilentFor(0));
    EXPECT_EQ(activity.Last(), 10U);
    // It wraps, and a thread that has read it before comes after one that has read it since.
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

TEST(PollCount, FiresOnEveryNth) {
    const auto polls = [](CPollCount& count) {
        int poll = 1;
        while (!count.Poll()) ++poll;
        return poll;
    };
    for (uint8_t every : {uint8_t{11}, uint8_t{12}, uint8_t{22}}) {
        CPollCount count(every, CPollCount::kAtOnce);
        EXPECT_EQ(polls(count), 1);
        EXPECT_EQ(polls(count), every);
        count.Poll();
        count.Restart();
        EXPECT_EQ(polls(count), every);
    }
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
