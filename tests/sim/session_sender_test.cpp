// The sending half, rule by rule.
#include "sim/random.h"
#include "sim/session_probe.h"
#include "support/virtual_clock.h"

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

std::vector<uint16_t> Range(int first, int last) {
    std::vector<uint16_t> sequences(static_cast<size_t>(last - first + 1));
    std::iota(sequences.begin(), sequences.end(), static_cast<uint16_t>(first));
    return sequences;
}

class SessionSender : public testing::Test {
protected:
    /// What is said after a pause.
    std::vector<uint16_t> SaidAfter(uint32_t pause) {
        probe.TakeSaid();
        clock.Advance(pause);
        probe.Pump();
        return probe.TakeSequences();
    }

    CVirtualClock clock;
    CProbe probe;
};

TEST_F(SessionSender, CutsFramesIntoPieces) {
    const struct {
        uint32_t maxPayload;
        size_t length;
        std::vector<size_t> pieces;
    } rows[] = {
        {1040, 1, {1}},
        {1040, 1040, {1040}},
        {1040, 1041, {1040, 1}},
        {1040, 2080, {1040, 1040}},
        {1040, 2500, {1040, 1040, 420}},
        {3, 7, {3, 3, 1}},
        {0, 2, {1, 1}},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.length);
        CProbe fresh;
        fresh.SetMaxPacketDataLen(row.maxPayload);
        const std::string frame = CRandom(row.length).Bytes(row.length);
        ASSERT_TRUE(fresh.Send(frame));
        fresh.Pump();
        std::string whole;
        std::vector<size_t> pieces;
        for (const Said& said : fresh.TakeSaid()) {
            EXPECT_EQ(said.sequence, pieces.size());
            EXPECT_EQ(said.begin, whole.empty());
            whole += said.payload;
            EXPECT_EQ(said.end, whole.size() == frame.size());
            EXPECT_FALSE(said.ack || said.flag);
            pieces.push_back(said.payload.size());
        }
        EXPECT_EQ(pieces, row.pieces);
        EXPECT_EQ(whole, frame);
    }
}

TEST_F(SessionSender, RefusesWhatIsNoFrame) {
    std::vector<char> huge(static_cast<size_t>(session::kMaxFrameLen) + 1);
    EXPECT_FALSE(probe.SendFrame(nullptr, 10));
    for (const int length : {0, -1, session::kMaxFrameLen + 1}) EXPECT_FALSE(probe.SendFrame(huge.data(), length));
    EXPECT_FALSE(probe.SendBuffer(nullptr));
    EXPECT_FALSE(probe.SendBuffer(new CDataBuffer)) << "empty; freed all the same";
    EXPECT_TRUE(probe.IsSendIdle());
    EXPECT_TRUE(probe.SendFrame(huge.data(), session::kMaxFrameLen));
    EXPECT_FALSE(probe.IsSendIdle());
}

// What stays unanswered goes out at these milliseconds and no others, to the end of patience of its owner.
TEST_F(SessionSender, RepeatsAtExactTimes) {
    ASSERT_TRUE(probe.Send("frame"));
    std::vector<int> times;
    for (int t = 0; t < 6000; ++t) {
        if (probe.ProcessSend()) times.push_back(t);
        EXPECT_FALSE(probe.ProcessSend());
        clock.Advance(1);
    }
    EXPECT_THAT(times, ElementsAre(0, 200, 600, 1400, 2400, 3400, 4400, 5400));
    EXPECT_EQ(probe.GetStatistics().retransmitted, 7U);
}

TEST_F(SessionSender, APassAdmitsOneAndSendsFour) {
    for (int i = 0; i < 200; ++i) ASSERT_TRUE(probe.Send("x"));
    for (uint16_t pass = 0; pass < 160; ++pass) {
        EXPECT_TRUE(probe.CanAdmit());
        EXPECT_TRUE(probe.ProcessSend());
        ASSERT_THAT(probe.TakeSequences(), ElementsAre(pass));
    }
    EXPECT_FALSE(probe.CanAdmit());
    EXPECT_FALSE(probe.ProcessSend()) << "160 in flight, none due";

    EXPECT_THAT(SaidAfter(199), IsEmpty());
    clock.Advance(1);
    for (int pass = 0; pass < 40; ++pass) {
        EXPECT_TRUE(probe.ProcessSend());
        ASSERT_EQ(probe.TakeSequences(), Range(4 * pass, 4 * pass + 3));
    }
    EXPECT_FALSE(probe.ProcessSend());

    probe.Hear(AckPacket(true, 150));  // nine are left, so the narrowed window of 16 takes new ones
    EXPECT_THAT(probe.TakeSequences(), ElementsAre(160)) << "an acknowledgement runs a pass of its own";
    clock.Advance(400);
    EXPECT_TRUE(probe.ProcessSend());
    EXPECT_EQ(probe.TakeSequences(), Range(151, 154)) << "161 entered as well but is the eleventh that is due";
}

TEST_F(SessionSender, AThreadWithAnOlderReadingOfTheClockRepeatsNothing) {
    const Lumo_Base::CTimeHold hold;
    const unsigned long held = Lumo_Base::GetTimestamp();
    clock.Advance(1);
    std::thread([this] { Fill(probe, 3); }).join();
    EXPECT_EQ(probe.TakeSequences(), Range(0, 2));
    ASSERT_EQ(Lumo_Base::GetTimestamp(), held);
    EXPECT_FALSE(probe.ProcessSend());
    probe.Hear(AckPacket(true, 0));
    EXPECT_THAT(probe.TakeSaid(), IsEmpty());
    EXPECT_EQ(probe.GetStatistics().roundTripMs, 0U);
    Fill(probe, 1);
    EXPECT_THAT(probe.TakeSequences(), ElementsAre(3)) << "what is new goes at once";
    const Lumo_Base::CTimeUnheld unheld;
    EXPECT_THAT(SaidAfter(199), IsEmpty());
    EXPECT_EQ(SaidAfter(1), Range(1, 3));
}

TEST_F(SessionSender, FollowsTheAdvertisedWindow) {
    const struct {
        uint8_t set;  // by the far side
        uint8_t advertised;
        size_t window;
    } rows[] = {{160, 160, 16}, {20, 20, 20}, {31, 31, 31}, {5, 16, 16}, {255, 160, 16}, {33, 33, 16}, {63, 63, 31}};
    for (const auto& row : rows) {
        SCOPED_TRACE(int{row.set});
        CProbe sender, receiver;
        receiver.SetWindowSize(row.set);
        EXPECT_EQ(receiver.GetWindowSize(), row.advertised);
        receiver.Hear(DataPacket(0, "x"));
        const uint8_t advertised = receiver.TakeSaid().at(0).window;
        EXPECT_EQ(advertised, row.advertised % 32);

        Fill(sender, 300);
        EXPECT_EQ(sender.TakeSaid().size(), 160U) << "until the first acknowledgement";
        sender.Hear(AckPacket(true, 0, advertised));
        EXPECT_THAT(sender.TakeSaid(), IsEmpty()) << "159 are more than the window";
        sender.Hear(AckPacket(true, 159, advertised));
        sender.Pump();
        EXPECT_EQ(sender.TakeSaid().size(), row.window);
    }
}

TEST_F(SessionSender, TellsCumulativeFromSelective) {
    Fill(probe, 10);
    probe.Hear(AckPacket(true, 5));
    probe.Hear(AckPacket(false, 7));
    EXPECT_THAT(SaidAfter(200), ElementsAre(6, 8, 9));
    probe.Hear(AckPacket(false, 6));  // now 6 and 7 stand in front, marked, and go
    EXPECT_THAT(SaidAfter(400), ElementsAre(8, 9));
    probe.Hear(AckPacket(true, 7));  // late: covers nothing that is in flight
    EXPECT_THAT(SaidAfter(800), ElementsAre(8, 9));
    probe.Hear(AckPacket(false, 9));
    EXPECT_FALSE(probe.IsSendIdle()) << "8 is missing";
    probe.Hear(AckPacket(false, 8));
    EXPECT_TRUE(probe.IsSendIdle());
    EXPECT_FALSE(probe.ProcessSend());
}

// An acknowledgement covers the 32,766 numbers before it and itself; one farther off it does not touch.
TEST_F(SessionSender, CoversHalfTheNumbersLessOne) {
    const struct {
        bool flag;
        uint16_t sequence;
        std::vector<uint16_t> left;  // of 0, 1, 2, 3
    } rows[] = {
        {true, 32766, {}},           {true, 32767, {0}},          {true, 32768, {0, 1}},       {true, 32769, {0, 1, 2}},
        {true, 32770, {0, 1, 2, 3}}, {true, 65535, {0, 1, 2, 3}}, {false, 3000, {0, 1, 2, 3}}, {true, 1, {2, 3}},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.sequence);
        CProbe fresh;
        Fill(fresh, 4);
        fresh.TakeSaid();
        fresh.Hear(AckPacket(row.flag, row.sequence));
        clock.Advance(200);
        fresh.Pump();
        EXPECT_EQ(fresh.TakeSequences(), row.left);
    }
}

TEST_F(SessionSender, OpeningAgainNumbersAnewAndKeepsWhatIsQueued) {
    for (int i = 0; i < 3; ++i) ASSERT_TRUE(probe.Send("x"));
    EXPECT_TRUE(probe.ProcessSend());
    EXPECT_TRUE(probe.ProcessSend());
    ASSERT_TRUE(probe.OpenSession());
    EXPECT_TRUE(probe.ProcessSend());
    EXPECT_THAT(probe.TakeSequences(), ElementsAre(0, 1, 0));
}

// Whoever was sent twice cannot tell which of the two was answered.
TEST_F(SessionSender, MeasuresTheRoundTripOfPacketsSentOnce) {
    const auto roundTrip = [this](uint32_t pause, bool flag, uint16_t sequence) {
        clock.Advance(pause);
        probe.Hear(AckPacket(flag, sequence));
        return probe.GetStatistics().roundTripMs;
    };
    Fill(probe, 1);
    EXPECT_THAT(SaidAfter(250), ElementsAre(0));
    EXPECT_EQ(roundTrip(0, true, 0), 0U);
    Fill(probe, 3);
    EXPECT_EQ(roundTrip(40, false, 2), 40U);
    EXPECT_EQ(roundTrip(80, false, 2), 40U) << "the same once more";
    EXPECT_EQ(roundTrip(0, true, 2), 40U) << "its first answer was measured";
    Fill(probe, 1);
    EXPECT_EQ(roundTrip(120, true, 4), 50U) << "an eighth of the way";
}

}  // namespace
