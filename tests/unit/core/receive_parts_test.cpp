// The two parts of the receiving half that hold memory: packets before their turn, and the frame being reassembled.
#include "core/held_packets.h"
#include "core/reassembly.h"
#include "core/session_constants.h"
#include "platform/lumobase/memory_budget.h"
#include "support/session_wire.h"

#include <gtest/gtest.h>

#include <string>

namespace {

constexpr uint8_t kBegin = 0x04;
constexpr uint8_t kEnd = 0x02;

TEST(HeldPackets, AreBoundedInBytes) {
    CHeldPackets held;
    std::string bytes = session_wire::Data(0, std::string(session::kMaxPayloadLen, 'x'));
    CSCTPPacket packet(bytes.data(), static_cast<int>(bytes.size()));
    const auto insert = [&](size_t sequence) {
        packet.SetSequence(static_cast<uint16_t>(sequence));
        return held.Insert(packet);
    };
    const size_t fits = session::kMaxHeldBytes / bytes.size();
    ASSERT_LT(fits, session::kMaxHeldPackets);
    for (int round = 0; round < 2; ++round, held.Clear()) {
        for (size_t i = 0; i < fits; ++i) ASSERT_TRUE(insert(i));
        EXPECT_FALSE(insert(fits));
        ASSERT_NE(held.TakeFirst(0), nullptr);
        EXPECT_TRUE(insert(fits)) << "what has left counts no more";
        EXPECT_FALSE(insert(fits + 1));
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

// A frame of exactly the limit passes; the first byte more ends the collecting until the next opening, even when the
// piece would have been dropped for its begin mark.
TEST_F(Reassembly, IsBoundedAndAnewWhenOpened) {
    const std::string piece(1 << 16, 'p');
    EXPECT_FALSE(Append(kBegin | kEnd, "not open yet"));
    for (const bool whole : {true, false}) {
        ASSERT_TRUE(reassembly.Open());
        EXPECT_EQ(reassembly.Length(), 0);
        for (int i = 0; i < (session::kMaxFrameLen >> 16) - 1; ++i) ASSERT_FALSE(Append(0, piece));
        EXPECT_EQ(Append(whole ? kEnd : uint8_t{0}, piece), whole);
        EXPECT_EQ(reassembly.Length(), session::kMaxFrameLen);
        EXPECT_FALSE(Append(whole ? kEnd : static_cast<uint8_t>(kBegin | kEnd), "1"));
        EXPECT_EQ(reassembly.Data(), nullptr);
        EXPECT_FALSE(Append(kBegin | kEnd, "ignored"));
    }
    ASSERT_TRUE(reassembly.Open());
    EXPECT_TRUE(Append(kBegin | kEnd, "again"));
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
            reassembly.Reset();
            EXPECT_FALSE(Append(kBegin, "1"));  // into the buffer of the long frame
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
