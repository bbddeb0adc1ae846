// The receiving half, rule by rule.
#include "sim/session_probe.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

using namespace sim;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

std::string Numbered(uint16_t sequence) { return DataPacket(sequence, std::to_string(sequence)); }

void HearAll(CProbe& probe, const std::vector<uint16_t>& sequences) {
    for (const uint16_t sequence : sequences) probe.Hear(Numbered(sequence));
}

// Brings a fresh receiver to where `sequence` is the last delivered.
void DeliverUpTo(CProbe& probe, int sequence) {
    for (int s = 0; s <= sequence; ++s) probe.Hear(Numbered(static_cast<uint16_t>(s)));
    probe.frames.clear();
    probe.TakeSaid();
}

TEST(SessionReceiver, AcknowledgesDeliversAndHolds) {
    const struct {
        const char* what;
        int upTo;  // delivered before; -1: not even the first packet has come
        std::vector<uint16_t> heard;
        const char* acks;
        std::string delivered;
        uint64_t duplicates;
    } rows[] = {
        {"before the first packet", -1, {2, 1, 2, 4}, " -2 -1 -2 -4", "", 1},
        {"in order", -1, {2, 1, 4, 0, 2, 0, 4, 5, 3, 5}, " -2 -1 -4 +0 +2 +0 -4 -5 +3 +5", " 0 1 2 3 4 5", 4},
        {"over the last number", 65534, {1, 0, 65535, 2}, " -1 -0 +65535 +2", " 65535 0 1 2", 0},
        {"a sender that begins again", 3, {0, 1, 2, 3}, " +0 +1 +2 +3", "", 4},
        {"the last before the first", 10, {65535, 65535}, " +65535 +65535", "", 2},
        {"one ahead", 10, {12, 12}, " -12 -12", "", 1},
        // Both comparisons leave out the distance of 32767: exactly that far ahead is held, one farther is behind.
        {"half less one ahead", 10, {10 + 32766, 10 + 32766}, " -32776 -32776", "", 1},
        {"half ahead", 10, {10 + 32767, 10 + 32767}, " -32777 -32777", "", 1},
        {"half behind", 10, {10 + 32768, 10 + 32768}, " +32778 +32778", "", 2},
        {"half less one behind", 10, {10 + 32769, 10 + 32769}, " +32779 +32779", "", 2},
        // Held packets stand where the first that is not before them stands; one more than half the numbers off blocks.
        {"far, held before the start", -1, {40000, 1, 0}, " -40000 -1 -0", "", 0},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.what);
        CProbe probe;
        DeliverUpTo(probe, row.upTo);
        HearAll(probe, row.heard);
        EXPECT_EQ(probe.TakeAcks(), row.acks);
        std::string delivered;
        for (const std::string& frame : probe.frames) delivered += " " + frame;
        EXPECT_EQ(delivered, row.delivered);
        EXPECT_EQ(probe.GetStatistics().duplicates, row.duplicates);
    }
}

// Opening keeps what is held; it waits for the first packet like everything else.
TEST(SessionReceiver, OpeningAgainWaitsAgain) {
    CProbe probe;
    DeliverUpTo(probe, 65534);
    HearAll(probe, {0});
    ASSERT_TRUE(probe.OpenSession());
    HearAll(probe, {1});
    EXPECT_EQ(probe.TakeAcks(), " -0 -1");
    EXPECT_THAT(probe.frames, IsEmpty());
    CProbe other;
    DeliverUpTo(other, 3);
    ASSERT_TRUE(other.OpenSession());
    HearAll(other, {0});
    EXPECT_THAT(other.frames, ElementsAre("0"));
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
    HearAll(probe, {2, 1});
    EXPECT_EQ(probe.TakeAcks(), " -2 +1") << "still held; its turn: needs no room";
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

}  // namespace
