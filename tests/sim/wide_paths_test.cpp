// How well a wide session fills paths of all kinds.
#include "sim/wide_end.h"

#include <gtest/gtest.h>

#include <ostream>

using namespace sim;

namespace {

constexpr int kFrame = 64 * 1024;

PathTraits Path(double megabits, double roundTripMs, double lossPercent = 0, double queueProducts = 1) {
    PathTraits traits;
    traits.megabits = megabits;
    traits.delayUs = static_cast<uint32_t>(roundTripMs * 500);
    traits.queueBytes = static_cast<uint64_t>(std::max(20000.0, megabits / 8 * roundTripMs * 1000 * queueProducts));
    traits.loss = lossPercent / 100;
    return traits;
}

/// MB/s that a path carries of whole frames in packets of 1,040 bytes.
double Ceiling(const PathTraits& traits) { return traits.megabits / 8 * 0.9624 * (1 - traits.loss); }

double MegabytesPerSecond(uint64_t bytes, double seconds) { return static_cast<double>(bytes) / 1e6 / seconds; }

struct PathRow {
    const char* name;
    PathTraits path;
    double share;  // of the ceiling, once so much time is gone
    double after = 2;
};
void PrintTo(const PathRow& row, std::ostream* out) { *out << row.name; }

class WidePaths : public testing::TestWithParam<PathRow> {};

TEST_P(WidePaths, AreFilled) {
    const PathRow& row = GetParam();
    const CWideSessions wide;
    WidePair pair(row.path);
    pair.left.Fill(kFrame);
    pair.events.RunFor(static_cast<uint64_t>(row.after * 1e6));
    const uint64_t before = pair.right.bytesReceived;
    pair.events.RunFor(10 * kSecond);
    EXPECT_GE(MegabytesPerSecond(pair.right.bytesReceived - before, 10) / Ceiling(row.path), row.share);
    EXPECT_LE(static_cast<double>(pair.right.session.GetStatistics().duplicates),
              0.02 * static_cast<double>(pair.out.counts.sent));
}

PathTraits With(PathTraits traits, double PathTraits::*field, double value) {
    traits.*field = value;
    return traits;
}
PathTraits Jittery(PathTraits traits, uint32_t microseconds) {
    traits.jitterUs = microseconds;
    return traits;
}
PathTraits Reordering(PathTraits traits, double share, uint32_t microseconds) {
    traits.reordered = share;
    traits.reorderUs = microseconds;
    return traits;
}

INSTANTIATE_TEST_SUITE_P(
    Rows, WidePaths,
    testing::Values(PathRow{"lan", Path(100, 2), 0.96}, PathRow{"50ms", Path(100, 50), 0.96},
                    PathRow{"50ms_loss01", Path(100, 50, 0.1), 0.96}, PathRow{"50ms_loss1", Path(100, 50, 1), 0.95},
                    PathRow{"50ms_loss5", Path(100, 50, 5), 0.98}, PathRow{"50ms_loss10", Path(100, 50, 10), 0.96},
                    PathRow{"2ms_loss1", Path(100, 2, 1), 0.95}, PathRow{"150ms_loss1", Path(100, 150, 1), 0.95},
                    PathRow{"300ms_loss1", Path(20, 300, 1), 0.95, 2.7}, PathRow{"600ms", Path(20, 600, 1), 0.90, 5.4},
                    PathRow{"6MB_in_flight", Path(80, 600), 0.90, 5.4}, PathRow{"400Mbit", Path(400, 50, 0.1), 0.95},
                    PathRow{"quarter_queue", Path(100, 50, 0, 0.25), 0.93},
                    PathRow{"bursts_lost", With(Path(100, 50), &PathTraits::burstLoss, 0.002), 0.95},
                    PathRow{"jitter_loss1", Jittery(Path(20, 50, 1), 10000), 0.85},
                    PathRow{"reordering", Reordering(Path(100, 50), 0.01, 10000), 0.94}),
    [](const auto& row) { return std::string(row.param.name); });

// The median of the queue that a lone link builds in a deep buffer, and what a quarter of a product drops.
TEST(WideQueue, StaysShort) {
    const CWideSessions wide;
    WidePair deep(Path(100, 50, 0, 4));
    deep.left.Fill(kFrame);
    std::vector<uint64_t> queue;
    for (int i = 0; i < 1000; ++i) {
        deep.events.RunFor(10000);
        queue.push_back(deep.out.QueueUs());
    }
    std::nth_element(queue.begin(), queue.begin() + 500, queue.end());
    EXPECT_LT(queue[500], 15000U);
}

TEST(WideQueue, ThatIsShortDropsLittle) {
    const CWideSessions wide;
    WidePair shallow(Path(100, 50, 0, 0.25));
    shallow.left.Fill(kFrame);
    shallow.events.RunFor(10 * kSecond);
    EXPECT_LT(static_cast<double>(shallow.out.counts.queueDrops), 0.02 * static_cast<double>(shallow.out.counts.sent));
}

/// Links that send over one bottleneck, told apart by the marks of their envelopes.
struct Sharing {
    explicit Sharing(PathTraits traits) : there(events, random, traits), back(events, random, Path(1000, 50)) {
        back.traits.delayUs = traits.delayUs;
        there.receiver = [this](const std::string& datagram) { receivers[Of(datagram)]->Hear(datagram); };
        back.receiver = [this](const std::string& datagram) { senders[Of(datagram)]->Hear(datagram); };
    }
    static size_t Of(const std::string& datagram) { return static_cast<size_t>(datagram.front() - 'a'); }
    void Join() {
        const auto mark = static_cast<char>('a' + senders.size());
        receivers.push_back(std::make_unique<CWideEnd>(events, back, mark));
        senders.push_back(std::make_unique<CWideEnd>(events, there, mark));
        senders.back()->Fill(kFrame);
    }

    const CWideSessions wide;
    CEvents events;
    CRandom random{1};
    CPath there, back;
    std::vector<std::unique_ptr<CWideEnd>> senders, receivers;
};

// Who comes later has its share ten seconds later.
TEST(WideSharing, GivesEachLinkAboutTheSame) {
    const std::pair<PathTraits, double> rows[] = {{Path(100, 50), 0.7},  {Path(100, 50, 0, 4), 0.7},
                                                  {Path(100, 150), 0.5}, {Path(20, 100), 0.5},
                                                  {Path(20, 300), 0.25}, {Path(100, 50, 5, 0.5), 0.7}};
    for (const auto& [path, least] : rows) {
        SCOPED_TRACE(testing::Message() << path.megabits << " Mbit/s, " << path.delayUs << " us, loss " << path.loss
                                        << ", queue " << path.queueBytes);
        Sharing sharing(path);
        sharing.Join();
        sharing.events.RunFor(3 * kSecond);
        sharing.Join();
        sharing.events.RunFor(10 * kSecond);
        const uint64_t first = sharing.receivers[0]->bytesReceived;
        const uint64_t second = sharing.receivers[1]->bytesReceived;
        sharing.events.RunFor(20 * kSecond);
        const auto firstGot = static_cast<double>(sharing.receivers[0]->bytesReceived - first);
        const auto secondGot = static_cast<double>(sharing.receivers[1]->bytesReceived - second);
        EXPECT_GT(secondGot / firstGot, least);
        EXPECT_LT(secondGot / firstGot, 1 / least);
        EXPECT_GT(MegabytesPerSecond(static_cast<uint64_t>(firstGot + secondGot), 20) / Ceiling(path), 0.93);
        const auto& counts = sharing.there.counts;
        EXPECT_LT(static_cast<double>(counts.queueDrops), 0.01 * static_cast<double>(counts.sent));
    }
}

TEST(WideRate, FollowsThePath) {
    const CWideSessions wide;
    WidePair pair(Path(20, 50));
    pair.left.Fill(kFrame);
    const auto runAt = [&](double megabits) {
        pair.out.traits.megabits = megabits;
        pair.events.RunFor(4 * kSecond);
        const uint64_t before = pair.right.bytesReceived;
        pair.events.RunFor(4 * kSecond);
        return MegabytesPerSecond(pair.right.bytesReceived - before, 4) / (megabits / 8 * 0.9624);
    };
    EXPECT_GT(runAt(20), 0.95);
    EXPECT_GT(runAt(80), 0.90);
    EXPECT_GT(runAt(10), 0.85);
}

// An application that lags behind has its video receiver narrow the window.
TEST(WideRate, IsThatOfANarrowedWindow) {
    const CWideSessions wide;
    WidePair pair(Path(80, 600));
    pair.left.Fill(kFrame);
    pair.events.RunFor(6 * kSecond);
    pair.right.session.SetWindowSize(session::kMinWindow);
    pair.events.RunFor(2 * kSecond);
    const uint64_t before = pair.right.bytesReceived;
    pair.events.RunFor(6 * kSecond);
    const double room = wide::kMaxInFlight / session::kMaxWindow * session::kMinWindow * session::kPayloadLen;
    EXPECT_NEAR(MegabytesPerSecond(pair.right.bytesReceived - before, 6), room / 0.6 / 1e6, 0.2);
}

// A busy machine gives a thread its turn late. What it missed follows, and not all at once.
TEST(WideRate, IsKeptByAThreadThatComesLate) {
    const CWideSessions wide;
    WidePair pair(Path(100, 50, 0, 0.1));
    pair.left.SetLate(2000);
    pair.left.Fill(kFrame);
    pair.events.RunFor(2 * kSecond);
    const uint64_t before = pair.right.bytesReceived;
    uint64_t most = 0;
    for (int i = 0; i < 10000; ++i) {
        const uint64_t sent = pair.out.counts.sent;
        pair.events.RunFor(400);  // less than lies between two bursts
        most = std::max(most, pair.out.counts.sent - sent);
    }
    EXPECT_GT(MegabytesPerSecond(pair.right.bytesReceived - before, 4) / Ceiling(pair.out.traits), 0.82);
    EXPECT_LE(most, 20U) << "packets, of a burst while probing";
}

// A queue that others keep makes round trips longer. Whoever has no more in flight than before gets less than before.
TEST(WideRate, IsHeldBesideAQueueOfOthers) {
    const CWideSessions wide;
    WidePair pair(Path(100, 50));
    pair.left.Fill(kFrame);
    pair.events.RunFor(4 * kSecond);
    const auto runAt = [&](uint32_t delayUs) {
        pair.out.traits.delayUs = delayUs;
        pair.events.RunFor(kSecond);
        const uint64_t before = pair.right.bytesReceived;
        pair.events.RunFor(2 * kSecond);
        return MegabytesPerSecond(pair.right.bytesReceived - before, 2) / Ceiling(pair.out.traits);
    };
    EXPECT_GT(runAt(75000), 0.9);
    EXPECT_GT(runAt(25000), 0.9);
    EXPECT_LT(pair.out.QueueUs(), 15000U) << "and what was kept for their sake is gone";
}

TEST(WideRate, ComesBackAfterAnOutage) {
    const CWideSessions wide;
    WidePair pair(Path(100, 50));
    pair.left.Fill(kFrame);
    pair.events.RunFor(3 * kSecond);
    pair.out.traits.dead = true;
    pair.events.RunFor(2 * kSecond);
    const uint64_t sent = pair.out.counts.sent;
    pair.events.RunFor(8 * kSecond);
    EXPECT_LE(pair.out.counts.sent - sent, 9U) << "a silent path gets one packet a second";
    pair.out.traits.dead = false;
    pair.events.RunFor(2 * kSecond);
    const uint64_t before = pair.right.bytesReceived;
    pair.events.RunFor(2 * kSecond);
    EXPECT_GT(MegabytesPerSecond(pair.right.bytesReceived - before, 2), 11);
}

// What is heard again seconds later is not taken for a packet a whole turn of the 16 bits younger.
TEST(WideNumbers, LateDuplicatesChangeNothing) {
    const CWideSessions wide;
    for (const uint32_t after : {500000U, 2000000U, 5000000U}) {
        PathTraits path = Path(100, 20);
        path.doubled = 0.01;
        path.doubledAfterUs = after;
        WidePair pair(path);
        uint64_t next = 0;
        pair.right.onFrame = [&](const std::string& frame) {
            EXPECT_EQ(frame, std::to_string(next++) + std::string(20000, 'x'));
        };
        for (int i = 0; i < 4000; ++i) pair.left.Queue(std::to_string(i) + std::string(20000, 'x'));
        pair.events.RunFor(20 * kSecond);
        EXPECT_EQ(next, 4000U) << after;
    }
}

// A stream of pictures that the path carries easily, at 1 % loss.
TEST(WideFrames, OfALiveStreamComeInTime) {
    const CWideSessions wide;
    WidePair pair(Path(100, 50, 1));
    std::vector<uint64_t> delays;
    std::vector<uint64_t> keyDelays;
    pair.right.onFrame = [&](const std::string& frame) {
        const uint64_t delay = CEvents::Now() - std::stoull(frame);
        (frame.size() > 100000 ? keyDelays : delays).push_back(delay);
    };
    for (int i = 0; i < 1200; ++i) {
        const size_t length = i % 150 == 149 ? 330000 : 33000;
        pair.events.At(CEvents::Now() + static_cast<uint64_t>(i) * 33333, [&pair, length] {
            std::string frame = std::to_string(CEvents::Now()) + " ";
            frame.resize(length, 'x');
            pair.left.Queue(std::move(frame));
        });
    }
    pair.events.RunFor(42 * kSecond);
    ASSERT_EQ(delays.size() + keyDelays.size(), 1200U);
    std::sort(delays.begin(), delays.end());
    const uint64_t serialisation = 33000 * 8 / 100;
    EXPECT_LT(delays[delays.size() * 99 / 100], 95000U + 10000U + serialisation);
    for (const uint64_t delay : keyDelays) EXPECT_LT(delay, 95000U + 10000U + serialisation + 75000U);
}

TEST(WideFrames, ComeAlthoughTheApplicationIsSlow) {
    const CWideSessions wide;
    WidePair pair(Path(100, 50));
    pair.right.SetSlow(50000);
    pair.left.Fill(3 * 1040);  // the last packet of a frame waits for company
    pair.events.RunFor(10 * kSecond);
    EXPECT_GT(pair.right.framesReceived, 190U);
    EXPECT_LT(pair.left.session.GetStatistics().smallestRoundTripUs, 52000U);
    EXPECT_LE(pair.left.session.GetStatistics().lost, pair.out.counts.queueDrops);
}

}  // namespace
