// Records of drawn objects: what each kind is on the wire, what a move changes, what is refused.
#include "tools/lumo/board/little_endian.h"
#include "tools/lumo/board/record.h"

#include <gtest/gtest.h>

#include <climits>

using namespace lumo;

namespace {

std::string Words(const std::vector<uint32_t>& words) {
    std::string bytes;
    for (const uint32_t word : words) AddWord(bytes, word);
    return bytes;
}

constexpr auto kMinus5 = static_cast<uint32_t>(-5);
const std::string kPng("\x89PNG\r\n\x1a\n....", 12);

struct RecordRow {
    const char* name;
    std::string record;
    std::string moved;  ///< by -5, 10
};

void PrintTo(const RecordRow& row, std::ostream* out) { *out << row.name; }

const RecordRow kRecords[] = {
    {"Pen", Words({1, 0xff8800, 64, 0, 0, 1, 2, 30, 40, 2, 1, 2, 30, 40}),
     Words({1, 0xff8800, 64, 0, 0, static_cast<uint32_t>(-4), 12, 25, 50, 2, static_cast<uint32_t>(-4), 12, 25, 50})},
    {"Marker", Words({2, 1, 256, 0, 0, 5, 5, 5, 5, 1, 5, 5}), Words({2, 1, 256, 0, 0, 0, 15, 0, 15, 1, 0, 15})},
    {"Line", Words({3, 1, 16, 0, 0, 50, 60, 10, 20}), Words({3, 1, 16, 0, 0, 45, 70, 5, 30})},
    {"Arrow", Words({4, 1, 16, 0, 0, 0, 0, 9, 9}), Words({4, 1, 16, 0, 0, kMinus5, 10, 4, 19})},
    {"Rectangle", Words({5, 1, 16, 0xffeeeeee, 0, 5, 6, 7, 8}), Words({5, 1, 16, 0xffeeeeee, 0, 0, 16, 2, 18})},
    {"Ellipse", Words({6, 1, 16, 0, 0, 5, 6, 7, 8}), Words({6, 1, 16, 0, 0, 0, 16, 2, 18})},
    {"Text", Words({8, 1, 288, 0, 5, 6, 7, 8, 5}) + "h\xc3\xa9\n!",
     Words({8, 1, 288, 0, 0, 16, 2, 18, 5}) + "h\xc3\xa9\n!"},
    {"Picture", Words({9, 1, 12, 5, 6, 7, 8}) + kPng, Words({9, 1, 12, 0, 16, 2, 18}) + kPng},
};

class Record : public ::testing::TestWithParam<RecordRow> {};

TEST_P(Record, IsReadWrittenAndMoved) {
    const RecordRow& row = GetParam();
    Shape shape;
    ASSERT_TRUE(ParseRecord(row.record, shape));
    EXPECT_EQ(EncodeRecord(shape), row.record);
    std::string moved = row.record;
    MoveRecord(moved, -5, 10);
    EXPECT_EQ(moved, row.moved);
    Shape there;
    EXPECT_TRUE(ParseRecord(moved, there)) << "a move leaves it what it is";
}

TEST_P(Record, CutAnywhereOrTooLongIsNotDrawnAndMovedWithinItsEnd) {
    const std::string& whole = GetParam().record;
    for (size_t length = 0; length < whole.size(); ++length) {
        std::string cut = whole.substr(0, length);
        Shape shape;
        EXPECT_FALSE(ParseRecord(cut, shape)) << length;
        MoveRecord(cut, 1, 1);
        EXPECT_EQ(cut.size(), length);
    }
    Shape shape;
    EXPECT_FALSE(ParseRecord(whole + "x", shape));
}

INSTANTIATE_TEST_SUITE_P(All, Record, ::testing::ValuesIn(kRecords), [](const auto& row) { return row.param.name; });

TEST(Records, WhatLiesAboutItselfIsNotDrawn) {
    const std::pair<const char*, std::string> rows[] = {
        {"a million points in forty bytes", Words({1, 0, 16, 0, 0, 0, 0, 0, 0, 1000000})},
        {"a count whose bytes wrap", Words({1, 0, 16, 0, 0, 0, 0, 0, 0, 0x20000001, 1, 1})},
        {"a negative count", Words({1, 0, 16, 0, 0, 0, 0, 0, 0, UINT32_MAX, 1, 1})},
        {"no points", Words({1, 0, 16, 0, 0, 0, 0, 0, 0, 0})},
        {"an unknown kind", Words({7, 0, 16, 0, 0, 0, 0, 0, 0})},
        {"a text longer than its record", Words({8, 0, 16, 0, 0, 0, 0, 0, UINT32_MAX}) + "text"},
        {"a text without a letter", Words({8, 0, 16, 0, 0, 0, 0, 0, 0})},
        {"a picture that is none", Words({9, 1, 4, 0, 0, 0, 0}) + "<svg"},
        {"a picture of another kind", Words({9, 2, 12, 0, 0, 0, 0}) + kPng},
    };
    for (const auto& [name, record] : rows) {
        Shape shape;
        EXPECT_FALSE(ParseRecord(record, shape)) << name;
    }
    Shape big;
    big.type = ShapeType::Picture;
    big.bytes = std::string(kMaxPicture + 1, 'x');
    EXPECT_EQ(EncodeRecord(big), "");
    big.type = ShapeType::Text;
    EXPECT_EQ(EncodeRecord(big), "");
    big.bytes.clear();
    EXPECT_EQ(EncodeRecord(big), "") << "no text";
    big.type = ShapeType::Pen;
    EXPECT_EQ(EncodeRecord(big), "") << "no points";
    big.points.resize(kMaxPoints + 1);
    EXPECT_EQ(EncodeRecord(big), "");
}

TEST(Records, WhatAnotherProgramPutsWhereNoFillBelongsIsNoFill) {
    for (const uint32_t type : {1U, 2U, 3U, 4U, 5U, 6U}) {
        const bool filled = type == 5 || type == 6;
        std::string record = Words({type, 1, 16, 0xff123456, 0, 0, 0, 9, 9});
        if (type < 3) record += Words({1, 5, 5});
        Shape shape;
        ASSERT_TRUE(ParseRecord(record, shape)) << type;
        EXPECT_EQ(shape.fill, filled ? 0xff123456U : 0U) << type;
        shape.fill = 0xff123456U;
        EXPECT_EQ(WordAt(EncodeRecord(shape), 12), filled ? 0xff123456U : 0U) << type;
    }
}

TEST(Records, MovesWrapAndFollowTheCountOnlyAsFarAsThereAreBytes) {
    std::string line = Words({3, 0, 16, 0, 0, INT32_MAX, 0, 1, 0});
    MoveRecord(line, 1, INT32_MIN);
    EXPECT_EQ(line, Words({3, 0, 16, 0, 0, 0x80000000, 0x80000000, 2, 0x80000000}));
    std::string pen = Words({1, 0, 16, 0, 0, 0, 0, 0, 0, 1000000, 7, 7}) + "1234567";
    MoveRecord(pen, 1, 2);
    EXPECT_EQ(pen, Words({1, 0, 16, 0, 0, 1, 2, 1, 2, 1000000, 8, 9}) + "1234567");
    std::string unknown = Words({10, 1, 1, 1, 1, 1, 1, 1, 1, 1});
    MoveRecord(unknown, 1, 2);
    EXPECT_EQ(unknown, Words({10, 1, 1, 1, 1, 1, 1, 1, 1, 1}));
}

}  // namespace
