// The two parts of the receiving half that hold memory: packets before their turn, and the frame being reassembled.
#include "core/held_packets.h"
#include "core/reassembly.h"
#include "core/session_constants.h"
#include "platform/lumobase/memory_budget.h"
#include "support/session_wire.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>

namespace {

constexpr uint8_t kBegin = 0x04;
constexpr uint8_t kEnd = 0x02;

TEST(HeldPackets, StayInOrderAcrossTheWrapAndLeaveOnlyInTurn) {
    CHeldPackets held;
    for (const uint16_t sequence : {uint16_t{1}, uint16_t{65534}, uint16_t{0}, uint16_t{65535}}) {
        std::string bytes = session_wire::Data(sequence, std::to_string(sequence));
        CSCTPPacket packet(bytes.data(), static_cast<int>(bytes.size()));
        ASSERT_TRUE(held.Insert(packet));
        bytes.assign(bytes.size(), '?');  // held is a copy
    }
    EXPECT_TRUE(held.WouldBeFirst(65533));
    EXPECT_FALSE(held.WouldBeFirst(65535));
    EXPECT_EQ(held.TakeFirst(65535), nullptr);
    for (const uint16_t sequence : {uint16_t{65534}, uint16_t{65535}, uint16_t{0}, uint16_t{1}}) {
        EXPECT_TRUE(held.Contains(sequence));
        const auto packet = held.TakeFirst(sequence);
        ASSERT_NE(packet, nullptr) << sequence;
        EXPECT_EQ(std::string(packet->GetPacketData(), static_cast<size_t>(packet->GetPacketDataLen())),
                  session_wire::Data(sequence, std::to_string(sequence)));
        EXPECT_FALSE(held.Contains(sequence));
    }
    EXPECT_EQ(held.TakeFirst(2), nullptr);
    EXPECT_EQ(held.Size(), 0U);
}

TEST(HeldPackets, AreBoundedInNumberAndInBytes) {
    for (const size_t length : {size_t{1}, size_t{session::kMaxPayloadLen}}) {
        CHeldPackets held;
        std::string bytes = session_wire::Data(0, std::string(length, 'x'));
        CSCTPPacket packet(bytes.data(), static_cast<int>(bytes.size()));
        const size_t fits = std::min<size_t>(session::kMaxHeldPackets, session::kMaxHeldBytes / bytes.size());
        const auto insert = [&](size_t sequence) {
            packet.SetSequence(static_cast<uint16_t>(sequence));
            return held.Insert(packet);
        };
        for (int round = 0; round < 3; ++round) {
            for (size_t i = 0; i < fits; ++i) ASSERT_TRUE(insert(i));
            EXPECT_FALSE(insert(fits));
            ASSERT_NE(held.TakeFirst(0), nullptr);
            EXPECT_TRUE(insert(fits)) << "what has left counts no more";
            EXPECT_FALSE(insert(fits + 1));
            held.Clear();
            EXPECT_EQ(held.Size(), 0U);
        }
    }
}

class Reassembly : public testing::Test {
protected:
    bool Append(uint8_t marks, const std::string& payload) {
        std::string bytes = session_wire::Packet(0, 0, marks, payload);
        CSCTPPacket packet(bytes.data(), static_cast<int>(bytes.size()));
        return reassembly.Append(packet);
    }
    std::string Frame() { return {reassembly.Data(), static_cast<size_t>(reassembly.Length())}; }

    CReassembly reassembly;
};

TEST_F(Reassembly, FollowsBeginAndEnd) {
    EXPECT_FALSE(Append(kBegin | kEnd, "not open yet"));
    ASSERT_TRUE(reassembly.Open());
    EXPECT_TRUE(Append(kBegin | kEnd, "whole"));
    EXPECT_EQ(Frame(), "whole");
    reassembly.Reset();
    EXPECT_FALSE(Append(kBegin, "a"));
    EXPECT_FALSE(Append(kBegin, "dropped"));
    EXPECT_FALSE(Append(kBegin | kEnd, "dropped with its end"));
    EXPECT_FALSE(Append(0, ""));
    EXPECT_TRUE(Append(kEnd, "b"));
    EXPECT_EQ(Frame(), "ab");
    reassembly.Reset();
    EXPECT_TRUE(Append(kEnd, "no begin")) << "is simply the first piece";
    EXPECT_EQ(Frame(), "no begin");
    EXPECT_FALSE(Append(kBegin, "kept"));
    ASSERT_TRUE(reassembly.Open());
    EXPECT_EQ(reassembly.Length(), 0);
}

TEST_F(Reassembly, GrowsWithoutLosingAByte) {
    ASSERT_TRUE(reassembly.Open());
    std::string expected;
    for (int i = 0; i < 200; ++i) {
        const std::string piece(1040, static_cast<char>('a' + i % 26));
        expected += piece;
        EXPECT_EQ(Append(i == 0 ? kBegin : i == 199 ? kEnd : uint8_t{0}, piece), i == 199);
    }
    EXPECT_EQ(Frame(), expected);
}

// A frame of exactly the limit passes; the first byte more ends the collecting until the next opening, even when the
// piece would have been dropped for its begin mark.
TEST_F(Reassembly, IsBounded) {
    const std::string piece(1 << 16, 'p');
    for (const uint8_t marks : {kEnd, static_cast<uint8_t>(kBegin | kEnd)}) {
        ASSERT_TRUE(reassembly.Open());
        for (int i = 0; i < (session::kMaxFrameLen >> 16) - 1; ++i) ASSERT_FALSE(Append(0, piece));
        if (marks == kEnd) {
            EXPECT_TRUE(Append(kEnd, piece));
            EXPECT_EQ(reassembly.Length(), session::kMaxFrameLen);
        } else {
            EXPECT_FALSE(Append(0, piece));
        }
        EXPECT_FALSE(Append(marks, "1"));
        EXPECT_EQ(reassembly.Data(), nullptr);
        EXPECT_EQ(reassembly.Length(), 0);
        EXPECT_FALSE(Append(kBegin | kEnd, "ignored"));
        ASSERT_TRUE(reassembly.Open());
        EXPECT_TRUE(Append(kBegin | kEnd, "again"));
    }
}

TEST_F(Reassembly, SkipsAFrameOverItsOwnLimitAndTakesTheNext) {
    reassembly.SkipOver(4);
    ASSERT_TRUE(reassembly.Open());
    EXPECT_TRUE(Append(kBegin | kEnd, "1234"));
    reassembly.Reset();
    EXPECT_FALSE(Append(kBegin | kEnd, "12345"));
    EXPECT_FALSE(Append(kBegin, "123"));
    EXPECT_FALSE(Append(0, "45"));
    EXPECT_FALSE(Append(0, "6"));
    EXPECT_FALSE(Append(kEnd, "7"));
    EXPECT_TRUE(Append(kBegin | kEnd, "next"));
    EXPECT_EQ(Frame(), "next");

    reassembly.Reset();
    const std::string tooMuch(1040, 'm');
    const int useful = reassembly.MostUseful(static_cast<int>(tooMuch.size()));
    EXPECT_LT(useful, 16) << "early packets are kept only as far as they matter";
    EXPECT_FALSE(Append(kBegin | kEnd, tooMuch.substr(0, static_cast<size_t>(useful))));
    EXPECT_EQ(reassembly.MostUseful(4), 4);
}

TEST_F(Reassembly, ThrowsAFrameAwayWhereMemoryRunsOutAndGoesOnWithTheNext) {
    const uint64_t limit = ReceiveBudget().Limit();
    const std::string piece(1 << 16, 'p');
    ASSERT_TRUE(reassembly.Open());
    for (const bool byTheWorker : {false, true}) {
        ReceiveBudget().SetLimit(150000);
        EXPECT_FALSE(Append(kBegin, piece));
        EXPECT_GE(ReceiveBudget().Sum(), piece.size());
        if (byTheWorker) {
            ReceiveBudget().SetLimit(60000);
            EXPECT_FALSE(ReceiveBudget().Add(1));
            budgets::Relieve();
        } else {
            for (int i = 0; i < 2; ++i) EXPECT_FALSE(Append(0, piece));
        }
        EXPECT_EQ(ReceiveBudget().Sum(), 0U);
        EXPECT_FALSE(Append(kEnd, "the rest of it"));
        EXPECT_TRUE(Append(kBegin | kEnd, "next"));
        EXPECT_EQ(Frame(), "next");
        reassembly.Reset();
    }
    ReceiveBudget().SetLimit(limit);
}

TEST_F(Reassembly, GivesALongBufferBackAfterAShortFrameOrASecondOfSilence) {
    ASSERT_TRUE(reassembly.Open());
    for (const bool silence : {false, true}) {
        for (int i = 0; i < 63; ++i) EXPECT_FALSE(Append(0, std::string(1 << 16, 'l')));
        EXPECT_TRUE(Append(kEnd, "l"));
        reassembly.Reset();
        EXPECT_GE(ReceiveBudget().Sum(), 4U << 20);
        if (silence) {
            for (int second = 0; second < 2; ++second) budgets::OnSecond();
        } else {
            EXPECT_TRUE(Append(kBegin | kEnd, "short"));
            reassembly.Reset();
        }
        EXPECT_EQ(ReceiveBudget().Sum(), 0U);
    }
}

}  // namespace
