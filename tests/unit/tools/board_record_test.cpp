// Drawn objects: what each kind is on the wire, what a move changes, which records and which pages' posts are refused.
#include "support/wb_words.h"
#include "tools/lumo/board/board_events.h"
#include "tools/lumo/board/little_endian.h"
#include "tools/lumo/board/record.h"

#include <gtest/gtest.h>

#include <climits>

using namespace lumo;
using wb_words::Words;

namespace {

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

TEST_P(Record, IsReadWrittenAndMovedAndNothingCutOrTooLongIsDrawn) {
    const RecordRow& row = GetParam();
    Shape shape;
    ASSERT_TRUE(ParseRecord(row.record, shape));
    EXPECT_EQ(EncodeRecord(shape), row.record);
    std::string moved = row.record;
    MoveRecord(moved, {kMinus5, 10});
    EXPECT_EQ(moved, row.moved);
    EXPECT_TRUE(ParseRecord(moved, shape)) << "a move leaves it what it is";
    SetVersion(moved, {7, 5});
    SetVersion(moved, {7, 6});
    EXPECT_EQ(moved, row.moved + Words({7, 6}));
    EXPECT_TRUE(ParseRecord(moved, shape));
    EXPECT_EQ(EncodeRecord(shape), row.moved) << "it is drawn as it was";
    MoveRecord(moved, {5, static_cast<uint32_t>(-10)});
    EXPECT_EQ(moved, row.record + Words({7, 6}));
    EXPECT_EQ(VersionOf(moved).origin + VersionOf(row.record).origin, 7U);
    for (size_t length = 0; length < row.record.size(); ++length) {
        std::string cut = row.record.substr(0, length);
        EXPECT_FALSE(ParseRecord(cut, shape)) << length;
        MoveRecord(cut, {1, 1});
        EXPECT_EQ(cut.size(), length);
    }
    EXPECT_FALSE(ParseRecord(row.record + "x", shape));
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
    big.bytes = std::string(kMaxBoardPicture + 1, 'x');
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
    MoveRecord(line, {1, 0x80000000});
    EXPECT_EQ(line, Words({3, 0, 16, 0, 0, 0x80000000, 0x80000000, 2, 0x80000000}));
    std::string pen = Words({1, 0, 16, 0, 0, 0, 0, 0, 0, 1000000, 7, 7}) + "1234567";
    MoveRecord(pen, {1, 2});
    EXPECT_EQ(pen, Words({1, 0, 16, 0, 0, 1, 2, 1, 2, 1000000, 8, 9}) + "1234567");
    std::string unknown = Words({10, 1, 1, 1, 1, 1, 1, 1, 1, 1});
    MoveRecord(unknown, {1, 2});
    EXPECT_EQ(unknown, Words({10, 1, 1, 1, 1, 1, 1, 1, 1, 1}));
}

TEST(Records, OfTwoVersionsOneIsTheLaterOneHoweverFarTheyAreApart) {
    for (const uint32_t apart : {0U, 1U, 0x7fffffffU, 0x80000000U, 0xffffffffU})
        EXPECT_NE(IsLater({1, apart}, 2, {1, 0}, 3), IsLater({1, 0}, 3, {1, apart}, 2)) << apart;
}

TEST(BoardActions, WhatIsNotAsItMustBeIsRefused) {
    const std::string add = R"([{"do":"add","objects":[)";
    const std::string rows[] = {
        R"([{"do":"undo"})",
        "{}",
        "7",
        R"([7])",
        R"([{"do":"fly"}])",
        R"([{"do":["undo"]}])",
        R"([{"do":"move","ids":[1],"dx":2147483648,"dy":0}])",
        R"([{"do":"move","ids":[1],"dx":0.5,"dy":0}])",
        R"([{"do":"replace","id":-1,"object":{"type":"line","colour":"#0a0b0c","width":1,"box":[0,0,5,6]}}])",
        R"([{"do":"replace","id":1,"object":[]}])",
        R"([{"do":"change","objects":[{"width":1}]}])",
        R"([{"do":"change","objects":[{"id":1,"width":5000}]}])",
        R"([{"do":"change","objects":[{"id":1,"fill":"red"}]}])",
        R"([{"do":"change","objects":[{"id":1,"box":null}]}])",
        R"([{"do":"delete","ids":[-1]}])",
        R"([{"do":"delete","ids":[]}])",
        R"([{"do":"delete","ids":[18446744073709551615]}])",
        R"([{"do":"name","name":5}])",
        R"([{"do":"add","objects":[]}])",
        add + R"({"type":"picture","colour":"#000000","width":1,"box":[0,0,1,1]}]}])",
        add + R"({"type":"picture","like":0,"box":[0,0,1,1]}]}])",
        add + R"({"type":"pen","colour":"#000000","width":1,"box":[0,0,1,1],"points":[1,2,3]}]}])",
        add + R"({"type":"pen","colour":"#000000","width":1,"box":[0,0,1,1],"points":[1,"2"]}]}])",
        add + R"({"type":"line","colour":"red","width":1,"box":[0,0,1,1]}]}])",
        add + R"({"type":"line","colour":"#00000g","width":1,"box":[0,0,1,1]}]}])",
        add + R"({"type":"line","colour":"#000000","width":5000,"box":[0,0,1,1]}]}])",
        add + R"({"type":"line","colour":"#000000","width":1,"box":[0,0,1]}]}])",
        add + R"({"type":"text","colour":"#000000","width":1,"box":[0,0,1,1],"text":")" +
            std::string(kMaxText + 1, 'x') + R"("}]}])",
        std::string(100000, '['),
        std::string(kMaxPosted + 1, ' ') + "[]",
    };
    std::vector<BoardAction> actions;
    for (const std::string& row : rows) EXPECT_FALSE(ParseActions(row, actions)) << row.substr(0, 200);
    Box box;
    EXPECT_TRUE(ParseBox("-1,2,3,-2147483648", box));
    EXPECT_EQ(box.bottom, INT32_MIN);
    for (const char* text : {"", "1,2,3", "1,2,3,4,", "1,2,3,4x", "1,,3,4", "1,2,3,99999999999"})
        EXPECT_FALSE(ParseBox(text, box)) << text;
}

}  // namespace
