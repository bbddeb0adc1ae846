// Whole frames between two sessions over a bad network: none lost, none twice, none out of order, none late.
#include "sim/session_end.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

using namespace sim;

namespace {

constexpr Address kLeft{0x0A000001, 1};
constexpr Address kRight{0x0A000002, 2};

struct Pair {
    explicit Pair(CWorld& w) : world(w), left(w, kLeft, kRight), right(w, kRight, kLeft) {}

    bool Run() {
        return world.RunUntil([this] { return left.IsDone() && right.IsDone() && world.IsNetworkEmpty(); },
                              [this] { return std::max(left.Bound(), right.Bound()) + Drain(); });
    }
    /// The last copies may still be in flight when everything is acknowledged.
    uint64_t Drain() { return world.MaxDelay(kLeft, kRight) + world.MaxDelay(kRight, kLeft); }

    CWorld& world;
    CSessionEnd left, right;
};

// What one end sent, the other has, and every packet on the way is accounted for.
void ExpectDelivered(CSessionEnd& from, CSessionEnd& to, const std::vector<std::string>& frames) {
    ASSERT_EQ(to.received.size(), frames.size());
    for (size_t i = 0; i < frames.size(); ++i) ASSERT_TRUE(to.received[i] == frames[i]) << "frame " << i;
    const SessionStatistics sent = from.GetStatistics();
    const SessionStatistics got = to.GetStatistics();
    EXPECT_EQ(sent.framesSent, frames.size());
    EXPECT_EQ(got.framesReceived, frames.size());
    EXPECT_EQ(got.packetsReceived, to.dataHeard + to.acksHeard) << "a whole packet was ignored";
    EXPECT_EQ(to.acksSaid, to.dataHeard) << "every data packet is acknowledged, once";
    EXPECT_EQ(got.duplicates, to.dataHeard - from.packets);
    EXPECT_EQ(sent.packetsSent, from.packets + sent.retransmitted + from.acksSaid);
}

std::vector<std::string> RandomFrames(CRandom& random) {
    static const uint32_t kEdges[] = {1, 2, 1039, 1040, 1041, 2079, 2080, 2081, 2500, 16 * 1040, 16 * 1040 + 1};
    std::vector<std::string> frames(random.Below(9));
    for (std::string& frame : frames) {
        const uint32_t kind = random.Below(3);
        frame = random.Bytes(kind == 0 ? kEdges[random.Below(std::size(kEdges))]
                                       : random.Between(1, kind == 1 ? 3000 : 30000));
    }
    return frames;
}

void AddRandomFaults(CWorld& world, Address from, Address to) {
    CRandom& random = world.random;
    if (random.Chance(500)) world.AddFault<CRandomLoss>(from, to, random.Below(300));
    if (random.Chance(200)) world.AddFault<CBitmapLoss>(from, to, random.Next() & random.Next());
    if (random.Chance(100)) world.AddFault<COutage>(from, to, random.Below(100), random.Below(3000));
    if (random.Chance(300)) world.AddFault<CCut>(from, to, random.Below(100), uint32_t{CSessionEnd::kEnvelope + 11});
    if (random.Chance(400)) world.AddFault<CDuplication>(from, to, random.Below(500));
    if (random.Chance(600)) {
        const uint32_t least = random.Below(80);
        world.AddFault<CDelaySpread>(from, to, least, least + random.Below(random.Chance(500) ? 10 : 400));
    }
}

class SeededTransfers : public testing::TestWithParam<uint64_t> {};

constexpr uint64_t kSeedsPerCase = 250;

TEST_P(SeededTransfers, ArriveWholeInOrderOnceAndInTime) {
    for (uint64_t seed = GetParam() * kSeedsPerCase; seed < (GetParam() + 1) * kSeedsPerCase; ++seed) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        const uint32_t start = seed % 10 == 0 ? 0xFFFFFFFFU - 500 : 1000000;  // the clock wraps, too
        CWorld world(seed, start);
        AddRandomFaults(world, kLeft, kRight);
        AddRandomFaults(world, kRight, kLeft);
        Pair pair(world);
        const std::vector<std::string> rightward = RandomFrames(world.random);
        const std::vector<std::string> leftward = RandomFrames(world.random);
        pair.left.Queue(rightward, world.random.Chance(250));
        pair.right.Queue(leftward, world.random.Chance(250));
        EXPECT_TRUE(pair.Run()) << "not done after " << world.Elapsed() << " ms";
        ExpectDelivered(pair.left, pair.right, rightward);
        ExpectDelivered(pair.right, pair.left, leftward);
        if (testing::Test::HasFailure()) FAIL() << world.Describe();
    }
}

INSTANTIATE_TEST_SUITE_P(Seeds, SeededTransfers, testing::Range<uint64_t>(0, 9));

TEST(SessionTransfer, SequenceWrapsInBothDirections) {
    CWorld world(1);
    for (const auto& [from, to] : {std::pair(kLeft, kRight), std::pair(kRight, kLeft)}) {
        world.AddFault<CRandomLoss>(from, to, 2U);
        world.AddFault<CDelaySpread>(from, to, 0U, 3U);
    }
    Pair pair(world);
    std::vector<std::string> frames;
    for (int i = 0; i < 1150; ++i) frames.push_back(world.random.Bytes(64 * 1024));
    pair.left.Queue(frames, false);
    pair.right.Queue({frames[0]}, false);
    EXPECT_GT(pair.left.packets, 70000U);
    EXPECT_TRUE(pair.Run()) << world.Describe();
    ExpectDelivered(pair.left, pair.right, frames);
    ExpectDelivered(pair.right, pair.left, {frames[0]});
}

TEST(SessionTransfer, ACleanNetworkRepeatsNothingAndShowsItsRoundTrip) {
    CWorld world(2);
    world.AddFault<CDelaySpread>(kLeft, kRight, 30U, 30U);
    world.AddFault<CDelaySpread>(kRight, kLeft, 20U, 20U);
    Pair pair(world);
    const std::vector<std::string> frames(5, world.random.Bytes(100000));
    pair.left.Queue(frames, false);
    EXPECT_TRUE(pair.Run());
    ExpectDelivered(pair.left, pair.right, frames);
    EXPECT_EQ(pair.left.GetStatistics().roundTripMs, 50U);
    EXPECT_EQ(pair.left.GetStatistics().retransmitted, 0U);
    EXPECT_EQ(pair.left.GetStatistics().bytesSent, 500000U);
    EXPECT_EQ(pair.right.GetStatistics().bytesReceived, 500000U);
    EXPECT_EQ(pair.right.GetStatistics().duplicates, 0U);
}

// A session that was closed in the middle starts anew on both sides as if nothing had been.
TEST(SessionTransfer, StartsAnewAfterAClose) {
    CWorld world(3);
    Pair pair(world);
    pair.left.Queue({world.random.Bytes(200000)}, false);
    world.AddFault<CNthLoss>(kLeft, kRight, std::set<uint64_t>{3, 5});
    world.RunFor(0);
    EXPECT_FALSE(pair.left.IsSendIdle());
    for (CSessionEnd* end : {&pair.left, &pair.right}) {
        end->CloseSession();
        EXPECT_TRUE(end->IsSendIdle());
        EXPECT_FALSE(end->ProcessSend());
        EXPECT_TRUE(end->OpenSession());
    }
    std::string frame(3000, 'n');
    ASSERT_TRUE(pair.left.SendFrame(frame.data(), 3000));
    world.RunFor(10);
    EXPECT_EQ(pair.right.received, std::vector<std::string>{frame});
    EXPECT_TRUE(pair.left.IsSendIdle());
}

// Packets carry no checksum: what is changed or cut past the header may be taken for another packet, so frames may be
// wrong and the transfer may never end. It must stay within its memory, and opening again must heal it.
TEST(SessionTransfer, SurvivesChangedBytes) {
    for (uint64_t seed = 0; seed < 60; ++seed) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        CWorld world(seed);
        for (const auto& [from, to] : {std::pair(kLeft, kRight), std::pair(kRight, kLeft)}) {
            world.AddFault<CGarble>(from, to, 20U);
            world.AddFault<CCut>(from, to, 20U, 1062U);
            world.AddFault<CDelaySpread>(from, to, 0U, 20U);
        }
        Pair pair(world);
        for (CSessionEnd* end : {&pair.left, &pair.right})
            end->Queue(std::vector<std::string>(20, world.random.Bytes(20000)), false);
        world.RunFor(3000);
        EXPECT_FALSE(pair.left.received.empty() && pair.right.received.empty());

        world.Heal(kLeft, kRight);
        world.Heal(kRight, kLeft);
        world.RunUntil([&] { return world.IsNetworkEmpty(); }, [] { return 4000U; });
        for (CSessionEnd* end : {&pair.left, &pair.right}) {
            end->Forget();
            EXPECT_TRUE(end->OpenSession());
        }
        std::string frame(3000, 'n');
        ASSERT_TRUE(pair.left.SendFrame(frame.data(), 3000));
        world.RunFor(2);
        EXPECT_EQ(pair.right.received, std::vector<std::string>{frame});
    }
}

}  // namespace
