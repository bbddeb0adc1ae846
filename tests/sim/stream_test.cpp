// Streams through a relay server over links that lose, stall and are slow.
#include "sim/stream_world.h"
#include "support/medium_wire.h"

#include <gtest/gtest.h>

using namespace sim;

namespace {

const Address kFirst = CStreamScene::SubscriberAt(0);

// The link of the publisher or of a subscriber says nothing for seconds. When it speaks again, the picture in flight
// arrives, and after it the newest key frame and what follows that: nothing of what was flushed.
TEST(VideoWorld, AfterAStallTheNewestKeyFrameFollows) {
    for (uint64_t seed = 1; seed <= 6; ++seed) {
        SCOPED_TRACE(seed);
        CStreamScene scene(seed, kVideo);
        scene.publisher.keyEvery = 30;
        scene.world.AddFaults(kPublisher, kServer, Delay(5, 5));
        scene.world.AddFaults(kFirst, kServer, Delay(5, 10));
        scene.world.AddFaults(seed % 2 ? kPublisher : kFirst, kServer, Outage(3000, 5000 + 500 * seed));
        CSubscriber& subscriber = scene.Join();
        scene.world.RunFor(3000);
        EXPECT_EQ(subscriber.Gaps().count, 0U);
        EXPECT_GT(subscriber.seen.size(), 50U);
        const size_t before = subscriber.seen.size();
        scene.world.RunFor(3000 + 500 * seed + 3000);
        const auto gaps = subscriber.Gaps();
        EXPECT_TRUE(gaps.order);
        EXPECT_TRUE(gaps.keys);
        EXPECT_EQ(gaps.count, 1U);
        ASSERT_GT(subscriber.seen.size(), before + 40);
        EXPECT_LT(scene.WorstAge(subscriber, scene.world.Elapsed() - 1000), 100U) << "as if nothing had been";
    }
}

TEST(VideoWorld, WhoeverJoinsGetsAKeyFrameForOneRequest) {
    CStreamScene scene(7, kVideo);
    scene.world.AddFaults(kPublisher, kServer, Delay(10, 10));
    scene.world.RunFor(500);
    for (uint32_t i = 0; i < 8; ++i) {
        scene.world.AddFaults(CStreamScene::SubscriberAt(i), kServer, Delay(10, 10));
        const uint64_t joined = scene.world.Elapsed();
        const CSubscriber& subscriber = scene.Join();
        scene.world.RunFor(1000 + 37 * i);
        EXPECT_EQ(scene.publisher.Requests(), i + 1);
        const auto first =
            std::find_if(subscriber.seen.begin(), subscriber.seen.end(), [](auto& one) { return one.key; });
        ASSERT_NE(first, subscriber.seen.end()) << "subscriber " << i;
        // To be taken, to start, to ask, the next picture, and its forty packets at the window of sixteen, twice.
        EXPECT_LT(first->when - joined, 20U + 10U + 10U + 35U + 2U * 3U * 20U) << "subscriber " << i;
    }
    for (const auto& one : scene.subscribers) EXPECT_EQ(one->Gaps().count, 0U) << "the keys of others do no harm";
}

TEST(VideoWorld, OneWhoIsSlowSlowsNobodyElse) {
    for (uint64_t seed = 1; seed <= 3; ++seed) {
        SCOPED_TRACE(seed);
        CStreamScene scene(seed, kVideo);
        scene.publisher.keyEvery = 60;
        for (uint32_t i = 0; i < 6; ++i) scene.world.AddFaults(CStreamScene::SubscriberAt(i), kServer, Delay(5, 5));
        scene.world.AddFaults(kFirst, kServer, Loss(150));
        for (int i = 0; i < 6; ++i) scene.Join();
        scene.world.RunFor(15000);
        for (size_t i = 1; i < scene.subscribers.size(); ++i) {
            EXPECT_EQ(scene.subscribers[i]->Gaps().count, 0U);
            EXPECT_GT(scene.subscribers[i]->seen.size(), 400U);
            EXPECT_LT(scene.WorstAge(*scene.subscribers[i], 2000), 50U);
        }
        const auto slow = scene.subscribers[0]->Gaps();
        EXPECT_TRUE(slow.order);
        EXPECT_TRUE(slow.keys);
        EXPECT_GT(slow.count, 0U) << "it cannot have kept up";
        EXPECT_GT(scene.subscribers[0]->seen.size(), 10U);
    }
}

// Loss, doubles and disorder on every link: pictures arrive whole, once and in order, and gaps end with a key frame.
TEST(VideoWorld, ABadNetworkCostsTimeAndNothingElse) {
    for (uint64_t seed = 1; seed <= 10; ++seed) {
        SCOPED_TRACE(seed);
        CStreamScene scene(seed, kVideo);
        scene.publisher.keyEvery = 30;
        for (const Address end : {kPublisher, kFirst, CStreamScene::SubscriberAt(1)})
            for (const Fault& fault : {Loss(20), Duplication(50), Delay(1, 15)})
                scene.world.AddFaults(end, kServer, fault);
        scene.Join();
        scene.Join();
        scene.world.RunFor(10000);
        for (const auto& subscriber : scene.subscribers) {
            EXPECT_TRUE(subscriber->Gaps().order);
            EXPECT_TRUE(subscriber->Gaps().keys);
            EXPECT_GT(subscriber->seen.size(), 50U);
        }
    }
}

class PublisherReturn : public testing::TestWithParam<CTestMedium> {};

// It comes back where somebody listens, and the one datagram that starts it is lost.
TEST_P(PublisherReturn, IsOnTheAirWithinSecondsThoughItsStartWasLost) {
    const CMediumRow& row = GetParam().row;
    bool back = false, lost = false;
    CStreamScene scene(1, GetParam());
    scene.publisher.everyMs = 100;
    scene.publisher.keyEvery = 1;
    scene.publisher.keyLength = 36;
    const auto loseFirstStart = [&](Transit& transit, CRandom&) {
        if (!back || lost || !transit.copies.at(0).bytes.starts_with(Datagram(row, row.source.keepAlive, {}))) return;
        lost = true;
        transit.copies.clear();
    };
    scene.world.AddFault(kServer, kPublisher, {"the first START lost", loseFirstStart});
    CSubscriber& subscriber = scene.Join();
    const auto heardWithin = [&](uint64_t milliseconds) {
        const uint64_t end = scene.world.Elapsed() + milliseconds;
        return scene.world.RunUntil([&] { return !subscriber.seen.empty(); }, [end] { return end; });
    };
    ASSERT_TRUE(heardWithin(3000));
    scene.publisher.Leave();
    scene.world.RunFor(500);
    subscriber.seen.clear();
    back = true;
    scene.publisher.Join();
    EXPECT_TRUE(heardWithin(4000));
    EXPECT_TRUE(lost);
}

INSTANTIATE_TEST_SUITE_P(Media, PublisherReturn, testing::Values(kAudio, kVideo), testing::PrintToStringParamName());

}  // namespace
