#include "lumomedia/packet.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <string>

namespace {

TEST(DataPackets, WhatIsPutComesOutAgain) {
    CDataOutPacket out;
    EXPECT_EQ(out.Skip(4), out.GetData());
    EXPECT_EQ(out.GetLength(), 4);
    EXPECT_TRUE(out.PutUInt8(0x01) && out.PutUInt16(0x0203) && out.PutUInt32(0x04050607U));
    EXPECT_TRUE(out.PutUInt64(0x08090A0B0C0D0E0FULL) && out.PutBytes("end", 3));
    unsigned char* end = out.SetCursor(out.GetData());
    EXPECT_TRUE(out.PutUInt32(0x7F));  // fills what was skipped
    out.SetCursor(end);
    const std::string bytes(reinterpret_cast<char*>(out.GetData()), static_cast<size_t>(out.GetLength()));
    EXPECT_EQ(bytes, std::string("\x7F\0\0\0\x01\x03\x02\x07\x06\x05\x04\x0F\x0E\x0D\x0C\x0B\x0A\x09\x08"
                                 "end",
                                 22));

    CDataInPacket in(const_cast<char*>(bytes.data()), static_cast<int>(bytes.size()));
    unsigned int u32 = 0;
    unsigned char u8 = 0;
    unsigned short u16 = 0;
    unsigned long long u64 = 0;
    char text[3];
    EXPECT_TRUE(in.GetUInt32(u32) && u32 == 0x7F && in.GetUInt8(u8) && in.GetUInt16(u16) && in.GetUInt32(u32));
    EXPECT_TRUE(in.GetUInt64(u64) && in.GetBytes(text, 3));
    EXPECT_EQ(u8, 0x01);
    EXPECT_EQ(u16, 0x0203);
    EXPECT_EQ(u32, 0x04050607U);
    EXPECT_EQ(u64, 0x08090A0B0C0D0E0FULL);
    EXPECT_EQ(std::string(text, 3), "end");
    EXPECT_EQ(in.GetLength(), 22) << "the whole, not the rest";
    EXPECT_FALSE(in.GetUInt8(u8));
}

TEST(DataPackets, NothingPassesTheEndAndARefusalChangesNothing) {
    for (int size = 0; size <= 16; ++size) {
        SCOPED_TRACE(size);
        CDataOutPacket out(true, size);
        CDataInPacket in(reinterpret_cast<char*>(out.GetData()), size);
        char bytes[17] = {};
        unsigned long long wide = 42;
        EXPECT_EQ(out.PutUInt64(1), size >= 8);
        EXPECT_EQ(out.GetLength(), size >= 8 ? 8 : 0);
        EXPECT_EQ(in.GetUInt64(wide), size >= 8);
        EXPECT_EQ(wide, size >= 8 ? 1U : 42U);
        const int left = size - out.GetLength();
        EXPECT_FALSE(out.PutBytes(bytes, left + 1));
        EXPECT_FALSE(in.GetBytes(bytes, left + 1));
        EXPECT_FALSE(out.PutBytes(bytes, -1));
        EXPECT_FALSE(in.GetBytes(bytes, -1));
        EXPECT_TRUE(out.PutBytes(bytes, left));
        EXPECT_TRUE(in.GetBytes(bytes, left));
        EXPECT_FALSE(out.PutUInt8(1));
        out.Reset();
        EXPECT_EQ(out.GetLength(), 0);
    }
}

TEST(DataPackets, TheBufferGoesToWhoeverShouldFreeIt) {
    unsigned char* taken = nullptr;
    {
        CDataOutPacket out(false, 8);
        ASSERT_TRUE(out.PutUInt8(7));
        taken = out.GetData();
    }
    EXPECT_EQ(taken[0], 7);
    std::free(taken);

    CDataOutPacket none(true, -1);
    EXPECT_EQ(none.GetData(), nullptr);
    EXPECT_EQ(none.GetLength(), 0);
    EXPECT_FALSE(none.PutUInt8(1));
}

}  // namespace
