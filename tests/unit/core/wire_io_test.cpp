#include "core/wire/wire_io.h"

#include <gtest/gtest.h>

#include <string>

using namespace wire;

namespace {

TEST(WireWriter, IsBigEndianAndReadsBack) {
    CWireWriter datagram(Kind::File, UDP_FILE_SINK_FRAME);
    datagram.U32(0x01020304U).U16(0x0506).U8(7).Bytes("tail", 4).Bytes(nullptr, 0);
    EXPECT_TRUE(datagram.Fits());
    EXPECT_EQ(std::string(datagram.Data(), static_cast<size_t>(datagram.Length())),
              std::string("\x06\x3D\x01\x02\x03\x04\x05\x06\x07tail"));

    CWireReader reader(datagram.Data(), datagram.Length());
    EXPECT_EQ(reader.U8(), 6);
    EXPECT_EQ(reader.U8(), UDP_FILE_SINK_FRAME);
    EXPECT_EQ(reader.U32(), 0x01020304U);
    EXPECT_EQ(reader.U16(), 0x0506);
    EXPECT_EQ(reader.U8(), 7);
    EXPECT_EQ(std::string(reader.Rest(), static_cast<size_t>(reader.Left())), "tail");
    EXPECT_TRUE(reader.Ok());
}

TEST(WireWriter, WhatDoesNotFitSpoilsItAndWritesNothing) {
    const std::string big(1500, 'x');
    for (const int before : {0, 1496, 1497, 1498, 1499, 1500}) {
        SCOPED_TRACE(before);
        CWireWriter datagram;
        datagram.Bytes(big.data(), before);
        EXPECT_TRUE(datagram.Fits());
        datagram.U32(1);
        EXPECT_EQ(datagram.Fits(), before <= 1496);
        EXPECT_EQ(datagram.Length(), before <= 1496 ? before + 4 : before);
        const int after = datagram.Length();
        datagram.Bytes(big.data(), 1501 - after).Bytes(big.data(), -1);
        EXPECT_FALSE(datagram.Fits());
        EXPECT_EQ(datagram.Length(), after);
    }
}

TEST(WireReader, EveryTruncationFailsAndStaysFailed) {
    const std::string whole("\x01\x02\x03\x04\x05\x06\x07", 7);
    for (int length = -1; length <= 7; ++length) {
        SCOPED_TRACE(length);
        const std::string cut =
            whole.substr(0, length < 0 ? 0 : static_cast<size_t>(length));  // so that ASan sees the end
        CWireReader reader(cut.data(), length);
        EXPECT_EQ(reader.U32(), length >= 4 ? 0x01020304U : 0U);
        EXPECT_EQ(reader.U16(), length >= 6 ? 0x0506U : 0U);
        EXPECT_EQ(reader.U8(), length >= 7 ? 7U : 0U);
        EXPECT_EQ(reader.Ok(), length >= 7);
        EXPECT_EQ(reader.U8(), 0);
        EXPECT_FALSE(reader.Ok());
    }
    CWireReader none(nullptr, 5);
    EXPECT_EQ(none.U8(), 0);
    EXPECT_FALSE(none.Ok());
}

}  // namespace
