// Video through a relay server over links that lose, stall and are slow.
#include "sim/video_world.h"

#include <gtest/gtest.h>

using namespace sim;

namespace {

Address WatcherAt(uint32_t number) { return {0x0a000100 + number, static_cast<uint16_t>(6000 + number)}; }

struct CScene {
    explicit CScene(uint64_t seed) : world(seed), server(world, net), publisher(world, net) {}

    CWatcher& Join() {
        watchers.push_back(std::make_unique<CWatcher>(world, net, WatcherAt(static_cast<uint32_t>(watchers.size()))));
        return *watchers.back();
    }
    template <class Fault, class... Arguments>
    void BothWays(Address one, Address other, Arguments... arguments) {
        world.AddFault<Fault>(one, other, arguments...);
        world.AddFault<Fault>(other, one, arguments...);
    }
    void Write(size_t length) {
        publisher.Do([&] { publisher.Write(true, length); });
    }
    /// How old the oldest picture was when it arrived.
    uint64_t WorstAge(const CWatcher& watcher, uint64_t from) {
        uint64_t worst = 0;
        for (const CSeen& one : watcher.seen)
            if (one.when >= from) worst = std::max(worst, one.when - publisher.written[one.number]);
        return worst;
    }

    CFakeNet net;
    CWorld world;
    CServerNode server;
    CPublisher publisher;
    std::vector<std::unique_ptr<CWatcher>> watchers;
};

// The link of the publisher or of one who watches says nothing for seconds. When it speaks again, the picture in flight
// arrives, and after it the newest key frame and what follows that: nothing of what was flushed.
TEST(VideoWorld, AfterAStallTheNewestKeyFrameFollows) {
    for (uint64_t seed = 1; seed <= 6; ++seed) {
        SCOPED_TRACE(seed);
        CScene scene(seed);
        const Address stalls = seed % 2 ? kPublisher : WatcherAt(0);
        scene.publisher.keyEvery = 30;
        scene.BothWays<CDelaySpread>(kPublisher, kServer, uint32_t{5}, uint32_t{5});
        scene.BothWays<CDelaySpread>(WatcherAt(0), kServer, uint32_t{5}, uint32_t{10});
        scene.BothWays<COutage>(stalls, kServer, uint64_t{3000}, uint64_t{5000 + 500 * seed});
        CWatcher& watcher = scene.Join();
        scene.world.RunFor(3000);
        EXPECT_EQ(watcher.Gaps().count, 0U);
        EXPECT_GT(watcher.seen.size(), 50U);
        const size_t before = watcher.seen.size();
        scene.world.RunFor(3000 + 500 * seed + 3000);
        const auto gaps = watcher.Gaps();
        EXPECT_TRUE(gaps.order);
        EXPECT_TRUE(gaps.keys);
        EXPECT_EQ(gaps.count, 1U);
        ASSERT_GT(watcher.seen.size(), before + 40);
        EXPECT_LT(scene.WorstAge(watcher, scene.world.Elapsed() - 1000), 100U) << "as if nothing had been";
        EXPECT_LE(scene.publisher.Buffering(), 2U);
    }
}

TEST(VideoWorld, WhoeverJoinsGetsAKeyFrameForOneRequest) {
    CScene scene(7);
    scene.BothWays<CDelaySpread>(kPublisher, kServer, uint32_t{10}, uint32_t{10});
    scene.world.RunFor(500);
    for (uint32_t i = 0; i < 8; ++i) {
        scene.BothWays<CDelaySpread>(WatcherAt(i), kServer, uint32_t{10}, uint32_t{10});
        const uint64_t joined = scene.world.Elapsed();
        const CWatcher& watcher = scene.Join();
        scene.world.RunFor(1000 + 37 * i);
        EXPECT_EQ(scene.publisher.requests, static_cast<int>(i) + 1);
        uint64_t firstKey = 0;
        for (const CSeen& one : watcher.seen)
            if (one.key && firstKey == 0) firstKey = one.when;
        ASSERT_NE(firstKey, 0U) << "watcher " << i;
        // To be taken, to start, to ask, the next picture, and its forty packets at the window of sixteen, twice.
        EXPECT_LT(firstKey - joined, 20U + 10U + 10U + 35U + 2U * 3U * 20U) << "watcher " << i;
    }
    for (const auto& watcher : scene.watchers) EXPECT_EQ(watcher->Gaps().count, 0U) << "the keys of others do no harm";
}

// A frame of a hundred packets needs as many round trips as windows.
TEST(VideoWorld, AWindowHalvedAndRaisedIsWhatTheFarSideKeepsTo) {
    CScene scene(8);
    scene.publisher.films = false;
    scene.BothWays<CDelaySpread>(WatcherAt(0), kServer, uint32_t{50}, uint32_t{50});
    CWatcher& watcher = scene.Join();
    scene.world.RunFor(1000);
    const struct {
        bool increase;
        int times;
        uint64_t window;
    } rows[] = {{false, 0, 16}, {false, 3, 20}, {false, 1, 16}, {true, 2, 25}, {true, 1, 31}, {false, 1, 16}};
    for (const auto& row : rows) {
        for (int i = 0; i < row.times; ++i) watcher.Do([&] { watcher.receiver->AdjustWindowSize(row.increase); });
        scene.Write(100);  // its acknowledgement tells
        scene.world.RunFor(1000);
        const uint64_t began = scene.world.Elapsed();
        scene.Write(100 * 1040);
        scene.world.RunFor(2000);
        ASSERT_EQ(watcher.seen.back().number + 1, scene.publisher.written.size());
        const uint64_t roundTrips = (100 + row.window - 1) / row.window;
        EXPECT_NEAR(static_cast<double>(watcher.seen.back().when - began),
                    static_cast<double>(100 * (roundTrips - 1) + 50), 15)
            << row.window;
    }
}

TEST(VideoWorld, OneWhoIsSlowSlowsNobodyElse) {
    for (uint64_t seed = 1; seed <= 3; ++seed) {
        SCOPED_TRACE(seed);
        CScene scene(seed);
        scene.publisher.keyEvery = 60;
        for (uint32_t i = 0; i < 6; ++i) scene.BothWays<CDelaySpread>(WatcherAt(i), kServer, uint32_t{5}, uint32_t{5});
        scene.BothWays<CRandomLoss>(WatcherAt(0), kServer, uint32_t{150});
        for (uint32_t i = 0; i < 6; ++i) scene.Join();
        scene.world.RunFor(15000);
        for (size_t i = 1; i < scene.watchers.size(); ++i) {
            EXPECT_EQ(scene.watchers[i]->Gaps().count, 0U);
            EXPECT_GT(scene.watchers[i]->seen.size(), 400U);
            EXPECT_LT(scene.WorstAge(*scene.watchers[i], 2000), 50U);
        }
        const auto slow = scene.watchers[0]->Gaps();
        EXPECT_TRUE(slow.order);
        EXPECT_TRUE(slow.keys);
        EXPECT_GT(slow.count, 0U) << "it cannot have kept up";
        EXPECT_GT(scene.watchers[0]->seen.size(), 10U);
    }
}

// Loss, doubles and disorder on every link: pictures arrive whole, once and in order, and gaps end with a key frame.
TEST(VideoWorld, ABadNetworkCostsTimeAndNothingElse) {
    for (uint64_t seed = 1; seed <= 10; ++seed) {
        SCOPED_TRACE(seed);
        CScene scene(seed);
        scene.publisher.keyEvery = 30;
        for (const Address end : {kPublisher, WatcherAt(0), WatcherAt(1)}) {
            scene.BothWays<CRandomLoss>(end, kServer, uint32_t{20});
            scene.BothWays<CDuplication>(end, kServer, uint32_t{50});
            scene.BothWays<CDelaySpread>(end, kServer, uint32_t{1}, uint32_t{15});
        }
        scene.Join();
        scene.Join();
        scene.world.RunFor(10000);
        for (const auto& watcher : scene.watchers) {
            EXPECT_TRUE(watcher->Gaps().order);
            EXPECT_TRUE(watcher->Gaps().keys);
            EXPECT_GT(watcher->seen.size(), 50U);
        }
    }
}

}  // namespace
