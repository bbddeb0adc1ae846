#include "lumomedia/packet.h"
#include "support/fake_net.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <string>

namespace {

TEST(DataPackets, WhatIsPutLittleEndianComesOutAgain) {
    CDataOutPacket out;
    EXPECT_EQ(out.Skip(4), out.GetData());
    EXPECT_TRUE(out.PutUInt8(0x01) && out.PutUInt16(0x0203) && out.PutUInt32(0x04050607U));
    EXPECT_TRUE(out.PutUInt64(0x08090A0B0C0D0E0FULL) && out.PutBytes("end", 3));
    unsigned char* end = out.SetCursor(out.GetData());
    EXPECT_TRUE(out.PutUInt32(0x7F));  // fills what was skipped
    out.SetCursor(end);
    std::string bytes(reinterpret_cast<char*>(out.GetData()), static_cast<size_t>(out.GetLength()));
    EXPECT_EQ(ToHex(bytes), ToHex(Hex("7f000000 01 0302 07060504 0f0e0d0c0b0a0908") + "end"));

    CDataInPacket in(bytes.data(), static_cast<int>(bytes.size()));
    unsigned int skipped = 0, u32 = 0;
    unsigned char u8 = 0;
    unsigned short u16 = 0;
    unsigned long long u64 = 0;
    char text[3];
    EXPECT_TRUE(in.GetUInt32(skipped) && in.GetUInt8(u8) && in.GetUInt16(u16) && in.GetUInt32(u32));
    EXPECT_TRUE(in.GetUInt64(u64) && in.GetBytes(text, 3));
    EXPECT_TRUE(skipped == 0x7F && u8 == 0x01 && u16 == 0x0203 && u32 == 0x04050607U && u64 == 0x08090A0B0C0D0E0FULL);
    EXPECT_EQ(std::string(text, 3), "end");
    EXPECT_EQ(in.GetLength(), 22) << "the whole, not the rest";
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
        unsigned char nothing = 0;
        EXPECT_FALSE(out.PutUInt8(1) || in.GetUInt8(nothing));
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
    EXPECT_TRUE(!none.GetData() && none.GetLength() == 0 && !none.PutUInt8(1));
}

}  // namespace
