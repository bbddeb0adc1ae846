// The sending half, rule by rule.
#include "sim/session_end.h"
#include "sim/session_probe.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <numeric>
#include <string>
#include <thread>
#include <vector>

using namespace sim;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

// `count` packets of one byte, all in flight and said.
void Fill(CProbe& probe, int count) {
    for (int i = 0; i < count; ++i) ASSERT_TRUE(probe.Send("x"));
    probe.Pump();
}

std::vector<uint16_t> Range(uint16_t first, uint16_t last) {
    std::vector<uint16_t> sequences(last - first + 1U);
    std::iota(sequences.begin(), sequences.end(), first);
    return sequences;
}

TEST(SessionSender, CutsFramesIntoPieces) {
    struct Row {
        uint32_t maxPayload;
        int length;
        std::vector<size_t> pieces;
    };
    const Row rows[] = {
        {1040, 1, {1}},
        {1040, 1040, {1040}},
        {1040, 1041, {1040, 1}},
        {1040, 2080, {1040, 1040}},
        {1040, 2500, {1040, 1040, 420}},
        {3, 7, {3, 3, 1}},
        {0, 2, {1, 1}},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.length);
        CVirtualClock clock;
        CProbe probe;
        probe.SetMaxPacketDataLen(row.maxPayload);
        const std::string frame = CRandom(static_cast<uint64_t>(row.length)).Bytes(static_cast<size_t>(row.length));
        ASSERT_TRUE(probe.Send(frame));
        probe.Pump();
        const std::vector<Said> said = probe.TakeSaid();
        ASSERT_EQ(said.size(), row.pieces.size());
        std::string whole;
        for (size_t i = 0; i < said.size(); ++i) {
            EXPECT_EQ(said[i].payload.size(), row.pieces[i]);
            EXPECT_EQ(said[i].sequence, i);
            EXPECT_EQ(said[i].begin, i == 0);
            EXPECT_EQ(said[i].end, i + 1 == said.size());
            EXPECT_FALSE(said[i].ack || said[i].flag);
            whole += said[i].payload;
        }
        EXPECT_EQ(whole, frame);
    }
}

TEST(SessionSender, RefusesWhatIsNoFrame) {
    CProbe probe;
    std::vector<char> huge(static_cast<size_t>(session::kMaxFrameLen) + 1);
    EXPECT_FALSE(probe.SendFrame(nullptr, 10));
    EXPECT_FALSE(probe.SendFrame(huge.data(), 0));
    EXPECT_FALSE(probe.SendFrame(huge.data(), -1));
    EXPECT_FALSE(probe.SendFrame(huge.data(), session::kMaxFrameLen + 1));
    EXPECT_FALSE(probe.SendBuffer(nullptr));
    EXPECT_FALSE(probe.SendBuffer(new CDataBuffer)) << "empty; freed all the same";
    EXPECT_TRUE(probe.IsSendIdle());
    EXPECT_TRUE(probe.SendFrame(huge.data(), session::kMaxFrameLen));
    EXPECT_FALSE(probe.IsSendIdle());
}

// What stays unanswered goes out at these milliseconds and no others, to the end of patience of its owner.
TEST(SessionSender, RepeatsAtExactTimes) {
    constexpr Address kSelf{1, 1}, kPeer{2, 2};
    CWorld world(1);
    world.AddFault<COutage>(kSelf, kPeer, uint64_t{0}, UINT64_MAX);
    CSessionEnd end(world, kSelf, kPeer);
    end.Queue({"frame"}, false);
    std::vector<uint64_t> times;
    while (world.Elapsed() < 6000) {
        const uint64_t before = world.Link(kSelf, kPeer).sent;
        world.RunFor(times.empty() && before == 0 ? 0 : 1);
        for (uint64_t i = before; i < world.Link(kSelf, kPeer).sent; ++i) times.push_back(world.Elapsed());
    }
    EXPECT_THAT(times, ElementsAre(0, 200, 600, 1400, 2400, 3400, 4400, 5400));
    EXPECT_EQ(end.GetStatistics().retransmitted, 7U);
}

TEST(SessionSender, APassAdmitsOneAndSendsFour) {
    CVirtualClock clock;
    CProbe probe;
    for (int i = 0; i < 200; ++i) ASSERT_TRUE(probe.Send("x"));
    for (uint16_t pass = 0; pass < 160; ++pass) {
        EXPECT_TRUE(probe.CanAdmit());
        EXPECT_TRUE(probe.ProcessSend());
        ASSERT_THAT(probe.TakeSequences(), ElementsAre(pass));
    }
    EXPECT_FALSE(probe.CanAdmit());
    EXPECT_FALSE(probe.ProcessSend()) << "160 in flight, none due";

    clock.Advance(199);
    EXPECT_FALSE(probe.ProcessSend());
    clock.Advance(1);
    for (int pass = 0; pass < 40; ++pass) {
        EXPECT_TRUE(probe.ProcessSend());
        const auto first = static_cast<uint16_t>(4 * pass);
        ASSERT_EQ(probe.TakeSequences(), Range(first, static_cast<uint16_t>(first + 3)));
    }
    EXPECT_FALSE(probe.ProcessSend());

    probe.Hear(AckPacket(true, 150));  // nine are left, so the narrowed window of 16 takes new ones
    EXPECT_THAT(probe.TakeSequences(), ElementsAre(160)) << "an acknowledgement runs a pass of its own";
    clock.Advance(400);
    EXPECT_TRUE(probe.ProcessSend());
    EXPECT_EQ(probe.TakeSequences(), Range(151, 154)) << "161 entered as well but is the eleventh that is due";
}

TEST(SessionSender, AThreadWithAnOlderReadingOfTheClockRepeatsNothing) {
    CVirtualClock clock;
    CProbe probe;
    const Lumo_Base::CTimeHold hold;
    const unsigned long held = Lumo_Base::GetTimestamp();
    clock.Advance(1);
    std::thread([&probe] { Fill(probe, 3); }).join();
    EXPECT_EQ(probe.TakeSequences(), Range(0, 2));
    ASSERT_EQ(Lumo_Base::GetTimestamp(), held);
    EXPECT_FALSE(probe.ProcessSend());
    probe.Hear(AckPacket(true, 0));
    EXPECT_THAT(probe.TakeSaid(), IsEmpty());
    EXPECT_EQ(probe.GetStatistics().roundTripMs, 0U);
    ASSERT_TRUE(probe.Send("x"));
    EXPECT_TRUE(probe.ProcessSend());
    EXPECT_THAT(probe.TakeSequences(), ElementsAre(3)) << "what is new goes at once";
    const auto sendsAfter = [&](uint32_t pause) {
        clock.Advance(pause);
        const Lumo_Base::CTimeUnheld unheld;
        return probe.ProcessSend();
    };
    EXPECT_FALSE(sendsAfter(199));
    EXPECT_TRUE(sendsAfter(1));
    EXPECT_EQ(probe.TakeSequences(), Range(1, 3));
}

TEST(SessionSender, FollowsTheAdvertisedWindow) {
    struct Row {
        uint8_t set;  // by the far side
        uint8_t advertised;
        size_t window;
    };
    for (const Row& row : {Row{160, 160, 16}, Row{20, 20, 20}, Row{31, 31, 31}, Row{5, 16, 16}, Row{255, 160, 16},
                           Row{33, 33, 16}, Row{63, 63, 31}}) {
        SCOPED_TRACE(int{row.set});
        CVirtualClock clock;
        CProbe sender, receiver;
        receiver.SetWindowSize(row.set);
        EXPECT_EQ(receiver.GetWindowSize(), row.advertised);
        receiver.Hear(DataPacket(0, "x"));
        const std::vector<Said> acks = receiver.TakeSaid();
        ASSERT_EQ(acks.size(), 1U);
        EXPECT_EQ(acks[0].window, row.advertised % 32);

        Fill(sender, 300);
        EXPECT_EQ(sender.TakeSaid().size(), 160U) << "until the first acknowledgement";
        sender.Hear(AckPacket(true, 0, acks[0].window));
        EXPECT_THAT(sender.TakeSaid(), IsEmpty()) << "159 are more than the window";
        sender.Hear(AckPacket(true, 159, acks[0].window));
        sender.Pump();
        EXPECT_EQ(sender.TakeSaid().size(), row.window);
    }
}

TEST(SessionSender, TellsCumulativeFromSelective) {
    CVirtualClock clock;
    CProbe probe;
    Fill(probe, 10);
    probe.TakeSaid();
    const auto repeated = [&](uint32_t pause) {
        clock.Advance(pause);
        probe.Pump();
        return probe.TakeSequences();
    };
    probe.Hear(AckPacket(true, 5));
    probe.Hear(AckPacket(false, 7));
    EXPECT_THAT(repeated(200), ElementsAre(6, 8, 9));
    probe.Hear(AckPacket(false, 6));  // now 6 and 7 stand in front, marked, and go
    EXPECT_THAT(repeated(400), ElementsAre(8, 9));
    probe.Hear(AckPacket(true, 7));  // late: covers nothing that is in flight
    EXPECT_THAT(repeated(800), ElementsAre(8, 9));
    probe.Hear(AckPacket(false, 9));
    EXPECT_FALSE(probe.IsSendIdle()) << "8 is missing";
    probe.Hear(AckPacket(false, 8));
    EXPECT_TRUE(probe.IsSendIdle());
    EXPECT_FALSE(probe.ProcessSend());
}

// An acknowledgement covers the 32,766 numbers before it and itself; one farther off it does not touch.
TEST(SessionSender, CoversHalfTheNumbersLessOne) {
    struct Row {
        bool flag;
        uint16_t sequence;
        std::vector<uint16_t> left;  // of 0, 1, 2, 3
    };
    const Row rows[] = {
        {true, 32766, {}},           {true, 32767, {0}},          {true, 32768, {0, 1}},       {true, 32769, {0, 1, 2}},
        {true, 32770, {0, 1, 2, 3}}, {true, 65535, {0, 1, 2, 3}}, {false, 3000, {0, 1, 2, 3}}, {true, 1, {2, 3}},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.sequence);
        CVirtualClock clock;
        CProbe probe;
        Fill(probe, 4);
        probe.TakeSaid();
        probe.Hear(AckPacket(row.flag, row.sequence));
        clock.Advance(200);
        probe.Pump();
        EXPECT_EQ(probe.TakeSequences(), row.left);
    }
}

TEST(SessionSender, OpeningAgainNumbersAnewAndKeepsWhatIsQueued) {
    CVirtualClock clock;
    CProbe probe;
    for (int i = 0; i < 3; ++i) ASSERT_TRUE(probe.Send("x"));
    EXPECT_TRUE(probe.ProcessSend());
    EXPECT_TRUE(probe.ProcessSend());
    ASSERT_TRUE(probe.OpenSession());
    EXPECT_TRUE(probe.ProcessSend());
    EXPECT_THAT(probe.TakeSequences(), ElementsAre(0, 1, 0));
}

// Whoever was sent twice cannot tell which of the two was answered.
TEST(SessionSender, MeasuresTheRoundTripOfPacketsSentOnce) {
    CVirtualClock clock;
    CProbe probe;
    Fill(probe, 1);
    clock.Advance(250);
    probe.Pump();
    probe.Hear(AckPacket(true, 0));
    EXPECT_EQ(probe.GetStatistics().roundTripMs, 0U);
    Fill(probe, 3);
    clock.Advance(40);
    probe.Hear(AckPacket(false, 2));
    EXPECT_EQ(probe.GetStatistics().roundTripMs, 40U);
    clock.Advance(80);
    probe.Hear(AckPacket(false, 2));  // the same once more
    EXPECT_EQ(probe.GetStatistics().roundTripMs, 40U);
    probe.Hear(AckPacket(true, 2));
    EXPECT_EQ(probe.GetStatistics().roundTripMs, 40U) << "its first answer was measured";
    Fill(probe, 1);
    clock.Advance(120);
    probe.Hear(AckPacket(true, 4));
    EXPECT_EQ(probe.GetStatistics().roundTripMs, 50U) << "an eighth of the way";
}

}  // namespace
