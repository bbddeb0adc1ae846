#include "core/wire/wire_io.h"

#include <gtest/gtest.h>

#include <string>

using namespace wire;

namespace {

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
        const std::string cut = length < 0 ? "" : whole.substr(0, static_cast<size_t>(length));  // ASan sees its end
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
