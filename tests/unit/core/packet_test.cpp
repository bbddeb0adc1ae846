#include "lumomedia/packet.h"

#include <gtest/gtest.h>

#include <string>

namespace {

using P = CSCTPPacket;

template <class T>
void Set(P& packet, void (P::*set)(T), int value) {
    (packet.*set)(static_cast<T>(value));
}
template <auto kSet, auto kGet>
int SetAndGet(P& packet, int value) {
    Set(packet, kSet, value);
    return static_cast<int>((packet.*kGet)());
}

TEST(SctpPacket, EveryFieldHasItsBitsAndDisturbsNoOther) {
    const struct {
        const char* name;
        int (*setAndGet)(P&, int);
        int value;     // given to the setter
        int stored;    // what the getter gives back
        size_t byte;   // offset of the byte that holds it
        uint8_t mask;  // its bits there
        uint8_t bits;  // those bits afterwards
    } rows[] = {
        {"version", SetAndGet<&P::SetVersion, &P::GetVersion>, 5, 1, 2, 0xC0, 0x40},
        {"version", SetAndGet<&P::SetVersion, &P::GetVersion>, 3, 3, 2, 0xC0, 0xC0},
        {"flag", SetAndGet<&P::SetFlag, &P::GetFlag>, 1, 1, 2, 0x20, 0x20},
        {"command", SetAndGet<&P::SetCommand, &P::GetCommand>, 33, 1, 2, 0x1F, 0x01},
        {"command", SetAndGet<&P::SetCommand, &P::GetCommand>, 31, 31, 2, 0x1F, 0x1F},
        {"window", SetAndGet<&P::SetWindowSize, &P::GetWindowSize>, 160, 0, 3, 0xF8, 0x00},
        {"window", SetAndGet<&P::SetWindowSize, &P::GetWindowSize>, 20, 20, 3, 0xF8, 0xA0},
        {"begin", SetAndGet<&P::SetBegin, &P::GetBegin>, 1, 1, 3, 0x04, 0x04},
        {"end", SetAndGet<&P::SetEnd, &P::GetEnd>, 1, 1, 3, 0x02, 0x02},
        {"key", SetAndGet<&P::SetKey, &P::GetKey>, 1, 1, 3, 0x01, 0x01},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(std::string(row.name) + " " + std::to_string(row.value));
        for (const int filling : {0x00, 0xFF}) {
            std::string bytes(12, static_cast<char>(filling)), expected = bytes;
            expected[row.byte] = static_cast<char>((filling & ~row.mask) | row.bits);
            P packet(bytes.data(), 12);
            EXPECT_EQ(row.setAndGet(packet, row.value), row.stored);
            EXPECT_EQ(bytes, expected);
            EXPECT_EQ(row.setAndGet(packet, 0), 0);
        }
    }
    P packet(12);
    EXPECT_EQ((SetAndGet<&P::SetSequence, &P::GetSequence>(packet, 0x1234)), 0x1234);
    EXPECT_EQ(std::string(packet.GetPacketData(), 3), std::string("\x12\x34\0", 3)) << "big-endian";
}

TEST(SctpPacket, BuffersAreOwnedOnlyWhereTheyWereMade) {
    std::string bytes(20, 'x');
    CSCTPPacket wrapper(bytes.data(), 20), alias(wrapper), copy(&wrapper);
    EXPECT_EQ(wrapper.GetPacketData(), bytes.data());
    EXPECT_EQ(alias.GetPacketData(), bytes.data());
    bytes[19] = 'y';
    EXPECT_EQ(std::string(copy.GetPacketData(), 20), std::string(20, 'x'));

    CSCTPPacket tiny(3);  // a header's room all the same, and all zeros
    EXPECT_EQ(std::string(tiny.GetPacketData(), 12), std::string(12, '\0'));
    EXPECT_EQ(tiny.GetPacketDataLen(), 3);
    EXPECT_EQ(CSCTPPacket(-1).GetPacketDataLen(), 0);
    tiny.SetPacketDataLen(2);
    CSCTPPacket tinyCopy(&tiny);
    EXPECT_EQ(tinyCopy.GetPacketDataLen(), 2);
    EXPECT_EQ(tinyCopy.GetVersion(), 0);
}

}  // namespace
