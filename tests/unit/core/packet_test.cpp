#include "lumomedia/packet.h"
#include "support/virtual_clock.h"

#include <gtest/gtest.h>

#include <functional>
#include <string>

namespace {

struct FieldRow {
    const char* name;
    std::function<void(CSCTPPacket&, int)> set;
    std::function<int(CSCTPPacket&)> get;
    int value;     // given to the setter
    int stored;    // what the getter gives back
    size_t byte;   // offset of the byte that holds it
    uint8_t mask;  // its bits there
    uint8_t bits;  // those bits afterwards
};

template <class T>
FieldRow Field(const char* name, void (CSCTPPacket::*set)(T), T (CSCTPPacket::*get)(), int value, int stored,
               size_t byte, uint8_t mask, uint8_t bits) {
    return {name,
            [set](CSCTPPacket& packet, int v) { (packet.*set)(static_cast<T>(v)); },
            [get](CSCTPPacket& packet) { return static_cast<int>((packet.*get)()); },
            value,
            stored,
            byte,
            mask,
            bits};
}
#define FIELD(name, ...) Field(#name, &CSCTPPacket::Set##name, &CSCTPPacket::Get##name, __VA_ARGS__)

const FieldRow kFields[] = {
    FIELD(Version, 5, 1, 2, 0xC0, 0x40),      FIELD(Version, 3, 3, 2, 0xC0, 0xC0),
    FIELD(Flag, true, 1, 2, 0x20, 0x20),      FIELD(Command, 33, 1, 2, 0x1F, 0x01),
    FIELD(Command, 31, 31, 2, 0x1F, 0x1F),    FIELD(WindowSize, 160, 0, 3, 0xF8, 0x00),
    FIELD(WindowSize, 20, 20, 3, 0xF8, 0xA0), FIELD(WindowSize, 31, 31, 3, 0xF8, 0xF8),
    FIELD(Begin, true, 1, 3, 0x04, 0x04),     FIELD(End, true, 1, 3, 0x02, 0x02),
    FIELD(Key, true, 1, 3, 0x01, 0x01),
};

TEST(SctpPacket, EveryFieldHasItsBitsAndDisturbsNoOther) {
    for (const FieldRow& row : kFields) {
        SCOPED_TRACE(std::string(row.name) + " " + std::to_string(row.value));
        for (const int filling : {0x00, 0xFF}) {
            std::string bytes(12, static_cast<char>(filling));
            std::string expected = bytes;
            expected[row.byte] = static_cast<char>((filling & ~row.mask) | row.bits);
            CSCTPPacket packet(bytes.data(), 12);
            row.set(packet, row.value);
            EXPECT_EQ(row.get(packet), row.stored);
            EXPECT_EQ(bytes, expected);
            row.set(packet, 0);
            EXPECT_EQ(row.get(packet), 0);
        }
    }
}

TEST(SctpPacket, SequenceTravelsBigEndian) {
    CSCTPPacket packet(12);
    EXPECT_EQ(std::string(packet.GetPacketData(), 12), std::string(12, '\0')) << "a new header is all zeros";
    packet.SetSequence(4660);
    EXPECT_EQ(std::string(packet.GetPacketData(), 3), std::string("\x12\x34\0", 3));
    EXPECT_EQ(packet.GetSequence(), 4660);
    packet.SetSequence(65535);
    EXPECT_EQ(packet.GetSequence(), 65535);
}

TEST(SctpPacket, BuffersAreOwnedOnlyWhereTheyWereMade) {
    std::string bytes(20, 'x');
    CSCTPPacket wrapper(bytes.data(), 20);
    EXPECT_EQ(wrapper.GetPacketData(), bytes.data());
    CSCTPPacket alias(wrapper);
    EXPECT_EQ(alias.GetPacketData(), bytes.data());

    CSCTPPacket copy(&wrapper);
    ASSERT_NE(copy.GetPacketData(), nullptr);
    EXPECT_NE(copy.GetPacketData(), bytes.data());
    EXPECT_EQ(std::string(copy.GetPacketData(), 20), bytes);
    bytes[19] = 'y';
    EXPECT_EQ(copy.GetPacketData()[19], 'x');

    CSCTPPacket tiny(3);  // a header's room all the same
    tiny.SetWindowSize(9);
    EXPECT_EQ(tiny.GetPacketDataLen(), 3);
    EXPECT_EQ(CSCTPPacket(-1).GetPacketDataLen(), 0);
    EXPECT_EQ(tiny.GetWindowSize(), 9);
    tiny.SetPacketDataLen(2);
    CSCTPPacket tinyCopy(&tiny);
    EXPECT_EQ(tinyCopy.GetPacketDataLen(), 2);
    EXPECT_EQ(tinyCopy.GetVersion(), 0);
}

TEST(SctpPacket, IsDueAtOnceAndThenEverLessOften) {
    struct Row {
        uint32_t start;
        const char* what;
    };
    for (const Row& row : {Row{1000, "ordinary"}, Row{0xFFFFFFFFU - 700, "the clock wraps in between"}}) {
        SCOPED_TRACE(row.what);
        CVirtualClock clock(row.start);
        CSCTPPacket packet(12);
        EXPECT_TRUE(packet.ShouldBeResent(0));
        for (const uint32_t pause : {200U, 400U, 800U, 1000U, 1000U, 1000U}) {
            EXPECT_FALSE(packet.ShouldBeResent(100));
            clock.Advance(pause - 1);
            EXPECT_FALSE(packet.ShouldBeResent(100)) << pause;
            clock.Advance(1);
            EXPECT_TRUE(packet.ShouldBeResent(100)) << pause;
        }
    }
}

}  // namespace
