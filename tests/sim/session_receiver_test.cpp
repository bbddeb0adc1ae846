// The receiving half, rule by rule.
#include "sim/random.h"
#include "sim/session_probe.h"
#include "support/virtual_clock.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <initializer_list>
#include <string>
#include <vector>

using namespace sim;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

std::string Numbered(uint16_t sequence) { return DataPacket(sequence, std::to_string(sequence)); }

void HearAll(CProbe& probe, std::initializer_list<uint16_t> sequences) {
    for (const uint16_t sequence : sequences) probe.Hear(Numbered(sequence));
}

// Brings a fresh receiver to where `sequence` is the last delivered.
void DeliverUpTo(CProbe& probe, int sequence) {
    for (int s = 0; s <= sequence; ++s) probe.Hear(Numbered(static_cast<uint16_t>(s)));
    probe.frames.clear();
    probe.TakeSaid();
}

TEST(SessionReceiver, WaitsForTheFirstPacketAndKeepsTheOrder) {
    CProbe probe;
    HearAll(probe, {2, 1, 2, 4});
    EXPECT_EQ(probe.TakeAcks(), " -2 -1 -2 -4");
    EXPECT_THAT(probe.frames, IsEmpty());
    probe.Hear(Numbered(0));
    EXPECT_EQ(probe.TakeAcks(), " +0");
    EXPECT_THAT(probe.frames, ElementsAre("0", "1", "2"));
    HearAll(probe, {2, 0, 4, 5, 3, 5});
    EXPECT_EQ(probe.TakeAcks(), " +2 +0 -4 -5 +3 +5");
    EXPECT_THAT(probe.frames, ElementsAre("0", "1", "2", "3", "4", "5"));
    EXPECT_EQ(probe.GetStatistics().duplicates, 5U);
}

TEST(SessionReceiver, GoesOnAfterTheLastNumber) {
    CProbe probe;
    DeliverUpTo(probe, 65534);
    HearAll(probe, {1, 0, 65535, 2});
    EXPECT_EQ(probe.TakeAcks(), " -1 -0 +65535 +2");
    EXPECT_THAT(probe.frames, ElementsAre("65535", "0", "1", "2"));
}

TEST(SessionReceiver, TakesASenderThatBeginsAgainForARepeater) {
    CProbe probe;
    DeliverUpTo(probe, 3);
    for (uint16_t s = 0; s <= 3; ++s) probe.Hear(DataPacket(s, "again"));
    EXPECT_EQ(probe.TakeAcks(), " +0 +1 +2 +3");
    EXPECT_THAT(probe.frames, IsEmpty());
    ASSERT_TRUE(probe.OpenSession());
    probe.Hear(DataPacket(0, "again"));
    EXPECT_THAT(probe.frames, ElementsAre("again"));
}

// Opening keeps what is held; it waits for the first packet like everything else.
TEST(SessionReceiver, OpeningAgainWaitsAgain) {
    CProbe probe;
    DeliverUpTo(probe, 65534);
    HearAll(probe, {0});
    ASSERT_TRUE(probe.OpenSession());
    HearAll(probe, {5});
    EXPECT_EQ(probe.TakeAcks(), " -0 -5");
    EXPECT_THAT(probe.frames, IsEmpty());
}

// Both comparisons leave out the distance of 32767: a packet exactly that far ahead is held, one farther is behind.
TEST(SessionReceiver, JudgesFarNumbersLopsidedly) {
    constexpr uint16_t kLast = 10;
    struct Row {
        uint16_t sequence;
        const char* ack;
        bool held;
    };
    const Row rows[] = {
        {kLast + 2, " -12", true},         {kLast + 32766, " -32776", true},  {kLast + 32767, " -32777", true},
        {kLast + 32768, " +32778", false}, {kLast + 32769, " +32779", false}, {65535, " +65535", false},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.sequence);
        CProbe probe;
        DeliverUpTo(probe, kLast);
        probe.Hear(Numbered(row.sequence));
        EXPECT_EQ(probe.TakeAcks(), row.ack);
        probe.Hear(Numbered(row.sequence));
        EXPECT_EQ(probe.TakeAcks(), row.ack) << "and the second time";
        EXPECT_EQ(probe.GetStatistics().duplicates, row.held ? 1U : 2U);
        EXPECT_THAT(probe.frames, IsEmpty());
    }
}

// Held packets stand where the first that is not before them stands; one more than half the numbers off blocks.
TEST(SessionReceiver, AFarPacketHeldBeforeTheStartStandsInFront) {
    CProbe probe;
    HearAll(probe, {40000, 1, 0});
    EXPECT_EQ(probe.TakeAcks(), " -40000 -1 -0");
    EXPECT_THAT(probe.frames, IsEmpty());
}

TEST(SessionReceiver, FramesAreWhatStandsBetweenBeginAndEnd) {
    CProbe probe;
    const std::string packets[] = {
        DataPacket(0, "a", true, false), DataPacket(1, "LOST", true, true), DataPacket(2, "b", false, false),
        DataPacket(3, "", false, true),  DataPacket(4, "c", false, true),   DataPacket(5, "d", false, true),
    };
    for (const std::string& packet : packets) probe.Hear(packet);
    EXPECT_THAT(probe.frames, ElementsAre("abc", "d"));
    EXPECT_EQ(probe.TakeAcks(), " +0 +1 +2 +3 +4 +5") << "what is not used is acknowledged all the same";
}

TEST(SessionReceiver, IgnoresWhatIsNoPacket) {
    CProbe probe;
    probe.OnSCTPSessionReceivedData(nullptr, 100);
    std::string packet = Numbered(0);
    for (int length = -1; length < session::kHeaderLen; ++length) {
        std::string cut = packet.substr(0, static_cast<size_t>(std::max(length, 0)));
        probe.OnSCTPSessionReceivedData(cut.data(), length);
    }
    for (const int byte2 : {0x40, 0x80, 0xC0, 0x02, 0x1F, 0x41}) {  // versions and commands there are none of
        std::string other = packet;
        other[2] = static_cast<char>(byte2);
        probe.Hear(other);
    }
    EXPECT_THAT(probe.said, IsEmpty());
    EXPECT_THAT(probe.frames, IsEmpty());
    EXPECT_EQ(probe.GetStatistics().packetsReceived, 0U);
    packet[2] = 0x20;  // in data the flag, the window and the key mark say nothing
    packet[3] = static_cast<char>(packet[3] | 0xF9);
    probe.Hear(packet);
    EXPECT_EQ(probe.TakeAcks(), " +0");
    EXPECT_THAT(probe.frames, ElementsAre("0"));
}

TEST(SessionReceiver, HoldsABoundedNumber) {
    CProbe probe;
    DeliverUpTo(probe, 0);
    for (uint16_t i = 0; i < session::kMaxHeldPackets; ++i) probe.Hear(Numbered(static_cast<uint16_t>(2 + i)));
    EXPECT_EQ(probe.TakeSaid().size(), session::kMaxHeldPackets);
    probe.Hear(Numbered(3000));
    EXPECT_EQ(probe.TakeAcks(), "") << "dropped without a word, so that it comes again";
    probe.Hear(Numbered(2));
    EXPECT_EQ(probe.TakeAcks(), " -2") << "still held";
    probe.Hear(Numbered(1));
    EXPECT_EQ(probe.TakeAcks(), " +1") << "its turn: needs no room";
    EXPECT_EQ(probe.frames.size(), session::kMaxHeldPackets + 1);
    probe.Hear(Numbered(3000));
    EXPECT_EQ(probe.TakeAcks(), " -3000");
}

TEST(SessionReceiver, CollectsBoundedFrames) {
    CProbe probe;
    const std::string piece(64 * 1024, 'p');
    uint16_t sequence = 0;
    for (int collected = 0; collected <= session::kMaxFrameLen; collected += 64 * 1024)
        probe.Hear(DataPacket(sequence++, piece, collected == 0, false));
    probe.TakeSaid();
    probe.Hear(DataPacket(sequence, "end", false, true));
    probe.Hear(DataPacket(++sequence, "whole"));
    EXPECT_THAT(probe.frames, IsEmpty());
    EXPECT_EQ(probe.TakeAcks(), " +1025 +1026") << "acknowledged, so that the sender ends";
    ASSERT_TRUE(probe.OpenSession());
    probe.Hear(DataPacket(0, "whole"));
    EXPECT_THAT(probe.frames, ElementsAre("whole"));
}

// Packets carry no checksum, so garbage may well be taken for data. Whatever came, the session stays sound.
TEST(SessionReceiver, SurvivesGarbage) {
    CVirtualClock clock;
    CRandom random(7);
    CProbe probe;
    uint8_t inTurn = 0;
    for (int i = 0; i < 200000; ++i) {
        std::string packet = random.Bytes(random.Chance(900) ? random.Below(40) : random.Below(3000));
        if (packet.size() > 3 && random.Chance(900)) packet[2] = static_cast<char>(packet[2] & 0x21);
        if (packet.size() > 3 && random.Chance(500)) {  // near the numbers in use, some just in turn
            packet[0] = 0;
            if (random.Chance(500)) {
                packet[1] = static_cast<char>(inTurn++);
                packet[2] = 0;
            }
        }
        if (random.Chance(20)) probe.Send(random.Bytes(random.Below(5000)));
        if (random.Chance(20)) probe.ProcessSend();
        if (random.Chance(1)) probe.CloseSession();
        if (random.Chance(10)) {
            EXPECT_TRUE(probe.OpenSession());
            inTurn = 0;
        }
        clock.Advance(1);
        probe.Hear(packet);
        probe.said.clear();
        probe.frames.clear();
    }
    const SessionStatistics statistics = probe.GetStatistics();
    EXPECT_GT(statistics.framesReceived, 100U) << "some of it must get through to mean anything";
    EXPECT_GT(statistics.duplicates, 1000U);
    EXPECT_GT(statistics.packetsSent, 1000U);
    probe.CloseSession();
    ASSERT_TRUE(probe.OpenSession());
    probe.Hear(DataPacket(0, "sound"));
    EXPECT_THAT(probe.frames, ElementsAre("sound"));
    ASSERT_TRUE(probe.Send("sound"));
    probe.TakeSaid();
    probe.Pump();
    EXPECT_THAT(probe.TakeSequences(), ElementsAre(0));
}

}  // namespace
