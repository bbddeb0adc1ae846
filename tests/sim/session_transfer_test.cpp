// Whole frames between two sessions over a bad network: none lost, none twice, none out of order, none late.
#include "core/sctp_session.h"
#include "sim/harness.h"

#include <gtest/gtest.h>

#include <cstring>
#include <deque>
#include <string>
#include <vector>

using namespace sim;

namespace {

constexpr Address kLeft{0x0A000001, 1};
constexpr Address kRight{0x0A000002, 2};
const std::string kEnvelope = "envelope..";  // as long as the longest of the media
constexpr int kEnvelopeLength = 10;
static_assert(kEnvelopeLength <= session::kEnvelopeRoom);

/// One end, with the pump that an owner would run.
class CEnd : public CSCTPSession {
public:
    CEnd(CWorld& world, Address self, Address peer) : m_world(world), m_self(self), m_peer(peer) {
        EXPECT_TRUE(OpenSession());
        world.Attach(self, [this](const std::string& datagram, Address) { Hear(datagram); });
        world.AddTurn([this] { return Turn(); });
    }
    ~CEnd() override { CloseSession(); }

    /// Frames to send. One enters the session when the one before is wholly acknowledged, or all at once.
    void Queue(const std::vector<std::string>& frames, bool allAtOnce = false) {
        m_bAllAtOnce = allAtOnce;
        const auto groups = [](uint64_t pieces) { return (pieces + session::kMinWindow - 1) / session::kMinWindow; };
        for (const std::string& frame : frames) {
            const uint64_t pieces = (frame.size() + session::kPayloadLen - 1) / session::kPayloadLen;
            packets += pieces;
            m_nGroups += groups(pieces);
        }
        if (allAtOnce) m_nGroups = groups(packets);
        m_waiting.insert(m_waiting.end(), frames.begin(), frames.end());
    }
    /// Drops what waits and what has come, and begins anew.
    void Reopen() {
        CloseSession();
        m_waiting.clear();
        received.clear();
        EXPECT_TRUE(IsSendIdle());
        EXPECT_FALSE(ProcessSend());
        EXPECT_TRUE(OpenSession());
    }
    bool IsDone() { return m_waiting.empty() && IsSendIdle(); }
    /// The latest end of the transfer of the queued frames, in ms from the world's begin:
    /// packets enter the window in groups of at least 16 (and no frame shares one with the next unless all are queued
    /// at once), and a group enters once the one before it is settled. A group of which no datagram is lost is settled
    /// one round trip after it entered, and each lost datagram, data or acknowledgement, puts the settling off by one
    /// time-out, 1000 ms at most. The clock's wrap may hold a new packet back for 100 ms.
    uint64_t Bound() {
        constexpr uint64_t kTick = 1;  // turns come once a millisecond
        constexpr uint64_t kClockWrap = 100;
        const uint64_t roundTrip = m_world.MaxDelay(m_self, m_peer) + m_world.MaxDelay(m_peer, m_self);
        const uint64_t lost = m_world.Link(m_self, m_peer).lost + m_world.Link(m_peer, m_self).lost;
        return m_nGroups * (roundTrip + kTick) + lost * (session::kMaxResendTimeout + kTick) + kClockWrap;
    }

    void OnSCTPSessionReceivedFrame(char* frame, int length) override {
        received.emplace_back(frame, static_cast<size_t>(length));
    }
    void SendSCTPData(char* packet, int length) override {
        if (IsAck(packet)) ++acksSaid;
        char* const datagram = packet - kEnvelopeLength;  // the room before the packet is the owner's
        std::memcpy(datagram, kEnvelope.data(), kEnvelope.size());
        m_world.Send(m_self, m_peer, datagram, length + kEnvelopeLength);
    }

    std::vector<std::string> received;
    uint64_t packets = 0;                                 // that the queued frames make
    uint64_t dataHeard = 0, acksHeard = 0, acksSaid = 0;  // heard: whole packets given to the session

private:
    static bool IsAck(const char* packet) { return (packet[2] & 0x1F) == session::SCTP_CMD_ACK; }
    bool Turn() {
        while (!m_waiting.empty() && (m_bAllAtOnce || IsSendIdle())) {
            EXPECT_TRUE(SendFrame(m_waiting.front().data(), static_cast<int>(m_waiting.front().size())));
            m_waiting.pop_front();
        }
        return ProcessSend();
    }
    void Hear(const std::string& datagram) {
        if (!datagram.starts_with(kEnvelope)) return;  // as the owner would
        std::string packet = datagram.substr(kEnvelope.size());
        if (packet.size() >= session::kHeaderLen) ++(IsAck(packet.data()) ? acksHeard : dataHeard);
        OnSCTPSessionReceivedData(packet.data(), static_cast<int>(packet.size()));
    }

    CWorld& m_world;
    const Address m_self, m_peer;
    std::deque<std::string> m_waiting;
    bool m_bAllAtOnce = false;
    uint64_t m_nGroups = 0;
};

struct Pair {
    explicit Pair(CWorld& w) : world(w), left(w, kLeft, kRight), right(w, kRight, kLeft) {}

    bool Run() {
        // The last copies may still be in flight when everything is acknowledged.
        const uint64_t drain = world.MaxDelay(kLeft, kRight) + world.MaxDelay(kRight, kLeft);
        return world.RunUntil([this] { return left.IsDone() && right.IsDone() && world.IsNetworkEmpty(); },
                              [&] { return std::max(left.Bound(), right.Bound()) + drain; });
    }

    CWorld& world;
    CEnd left, right;
};

// What one end sent, the other has, and every packet on the way is accounted for.
void ExpectDelivered(CEnd& from, CEnd& to, const std::vector<std::string>& frames) {
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
    if (random.Chance(500)) world.AddFault(from, to, Loss(random.Below(300)));
    if (random.Chance(200)) world.AddFault(from, to, Outage(random.Below(100), random.Below(3000)));
    if (random.Chance(300)) world.AddFault(from, to, Cut(random.Below(100), kEnvelopeLength + 11));
    if (random.Chance(400)) world.AddFault(from, to, Duplication(random.Below(500)));
    if (random.Chance(600)) {
        const uint32_t least = random.Below(80);
        world.AddFault(from, to, Delay(least, least + random.Below(random.Chance(500) ? 10 : 400)));
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
    world.AddFaults(kLeft, kRight, Loss(2));
    world.AddFaults(kLeft, kRight, Delay(0, 3));
    Pair pair(world);
    std::vector<std::string> frames;
    for (int i = 0; i < 1150; ++i) frames.push_back(world.random.Bytes(64 * 1024));
    pair.left.Queue(frames);
    pair.right.Queue({frames[0]});
    EXPECT_GT(pair.left.packets, 70000U);
    EXPECT_TRUE(pair.Run()) << world.Describe();
    ExpectDelivered(pair.left, pair.right, frames);
    ExpectDelivered(pair.right, pair.left, {frames[0]});
}

TEST(SessionTransfer, ACleanNetworkRepeatsNothingAndShowsItsRoundTrip) {
    CWorld world(2);
    world.AddFault(kLeft, kRight, Delay(30, 30));
    world.AddFault(kRight, kLeft, Delay(20, 20));
    Pair pair(world);
    const std::vector<std::string> frames(5, world.random.Bytes(100000));
    pair.left.Queue(frames);
    EXPECT_TRUE(pair.Run());
    ExpectDelivered(pair.left, pair.right, frames);
    EXPECT_EQ(pair.left.GetStatistics().roundTripMs, 50U);
    EXPECT_EQ(pair.left.GetStatistics().retransmitted, 0U);
    EXPECT_EQ(pair.left.GetStatistics().bytesSent, 500000U);
    EXPECT_EQ(pair.right.GetStatistics().bytesReceived, 500000U);
}

// Packets carry no checksum: what is changed or cut past the header may be taken for another packet, so frames may be
// wrong and the transfer may never end. It must stay within its memory, and opening again must heal it.
TEST(SessionTransfer, SurvivesChangedBytes) {
    for (uint64_t seed = 0; seed < 60; ++seed) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        CWorld world(seed);
        for (const Fault& fault : {Garble(20), Cut(20, 1062), Delay(0, 20)}) world.AddFaults(kLeft, kRight, fault);
        Pair pair(world);
        for (CEnd* end : {&pair.left, &pair.right}) end->Queue(std::vector<std::string>(20, world.random.Bytes(20000)));
        world.RunFor(3000);
        EXPECT_FALSE(pair.left.received.empty() && pair.right.received.empty());

        world.Heal();
        world.RunUntil([&] { return world.IsNetworkEmpty(); }, [] { return 4000U; });
        pair.left.Reopen();
        pair.right.Reopen();
        const std::string frame(3000, 'n');
        pair.left.Queue({frame});
        world.RunFor(2);
        EXPECT_EQ(pair.right.received, std::vector<std::string>{frame});
    }
}

}  // namespace
