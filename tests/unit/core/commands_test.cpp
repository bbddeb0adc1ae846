#include "core/wire/commands.h"

#include <gtest/gtest.h>

#include <map>
#include <set>
#include <string>
#include <tuple>

using namespace wire;

namespace {

const CommandRow* Find(Kind kind, uint8_t code, int bodyLength) { return FindCommand(kind, &code, bodyLength); }

int Medium(Kind kind) { return static_cast<int>(kind); }

TEST(Commands, EveryCodeBelongsToOneKindAndEveryFormStandsOnce) {
    std::map<uint8_t, Kind> owner;
    std::set<std::tuple<int, uint8_t, bool>> forms;
    std::map<int, int> rows;
    for (const CommandRow& row : Commands()) {
        EXPECT_TRUE(forms.insert({Medium(row.kind), row.code, row.longForm}).second) << row.name;
        EXPECT_EQ(owner.emplace(row.code, row.kind).first->second, row.kind) << row.name;
        EXPECT_EQ(std::string(row.name).rfind(std::string(KindName(static_cast<uint8_t>(row.kind))) + "_", 0), 0U);
        ++rows[Medium(row.kind)];
    }
    const std::map<int, int> expected = {{0, 17}, {1, 19}, {4, 8}, {5, 15}, {6, 15}};
    EXPECT_EQ(rows, expected);
    EXPECT_EQ(owner.size(), 0x47U - 2) << "0x00 to 0x46 without the two spare codes of audio";
}

TEST(Commands, ARowIsFoundByItsLengthsAndNoOther) {
    for (const CommandRow& row : Commands()) {
        SCOPED_TRACE(row.name);
        const int least = row.FixedLength() + row.minTail;
        EXPECT_EQ(Find(row.kind, row.code, least), &row);
        for (const int length : {-1, 0, 1, least - 1, least + 1, 1500}) {
            const CommandRow* found = Find(row.kind, row.code, length);
            const bool otherForm = found && found != &row && found->FixedLength() == length;
            const bool fits = row.tail != Tail::None && length > least;
            EXPECT_TRUE(otherForm || found == (fits ? &row : nullptr)) << length;
        }
        for (uint8_t kind = 0; kind < kKindCount; ++kind) {
            const CommandRow* expected = static_cast<Kind>(kind) == row.kind ? &row : nullptr;
            EXPECT_EQ(Find(static_cast<Kind>(kind), row.code, least), expected) << int{kind};
        }
    }
    for (const int code : {0x03, 0x1A, 0x47, 0xFF})
        EXPECT_EQ(Find(Kind::Audio, static_cast<uint8_t>(code), 5), nullptr);
    EXPECT_EQ(FindCommand(Kind::File, nullptr, 9), nullptr);
}

// Datagram lengths as they cross the wire, the kind byte included.
TEST(Commands, LengthsOnTheWire) {
    struct Row {
        Kind kind;
        std::set<uint8_t> codes;
        int length;
        bool longForm;
    };
    const Row rows[] = {
        {Kind::Audio, {UDP_AUDIO_SINK_CONNECT}, 14, false},
        {Kind::Audio, {UDP_AUDIO_SINK_CONNECT}, 28, true},
        {Kind::Video, {UDP_VIDEO_SINK_CONNECT}, 28, true},
        {Kind::Audio, {UDP_AUDIO_SOURCE_CONNECT, UDP_AUDIO_SOURCE_START, UDP_AUDIO_SINK_STOP_ACK}, 10, false},
        {Kind::Audio, {UDP_AUDIO_SOURCE_CONNECT_ACK}, 14, false},
        {Kind::Audio, {UDP_AUDIO_SINK_FRAME}, 10, false},
        {Kind::Audio, {UDP_AUDIO_SOURCE_FRAME}, 9, false},
        {Kind::Video, {UDP_VIDEO_SINK_FRAME}, 10, false},
        {Kind::Video, {UDP_VIDEO_SINK_FRAME_ACK, UDP_VIDEO_SOURCE_FRAME, UDP_VIDEO_SOURCE_FRAME_ACK}, 7, false},
        {Kind::Whiteboard, {UDP_WB_CONNECT, UDP_WB_CONNECT_ACK, UDP_WB_SERVER_FRAME}, 10, false},
        {Kind::Whiteboard, {UDP_WB_CONNECT}, 24, true},
        {Kind::Whiteboard, {UDP_WB_DISCONNECT, UDP_WB_KEEP_ALIVE}, 6, false},
        {Kind::Whiteboard, {UDP_WB_CLIENT_FRAME}, 7, false},
        {Kind::Desktop, {UDP_DESKTOP_SINK_CONNECT}, 24, true},
        {Kind::File, {UDP_FILE_SINK_CONNECT}, 22, true},
        {Kind::File, {UDP_FILE_SINK_CONNECT, UDP_FILE_SINK_CONNECT_ACK, UDP_FILE_SINK_FRAME}, 10, false},
        {Kind::File, {UDP_FILE_SINK_FRAME_ACK, UDP_FILE_SOURCE_FRAME, UDP_FILE_SOURCE_FRAME_ACK}, 7, false},
        {Kind::File, {UDP_FILE_SOURCE_CONNECT_ACK}, 14, false},
        {Kind::File, {UDP_FILE_SOURCE_KEEP_ALIVE, UDP_FILE_SOURCE_DISCONNECT, UDP_FILE_SINK_DISCONNECT}, 6, false},
    };
    for (const Row& row : rows) {
        for (const uint8_t code : row.codes) {
            const CommandRow* found = Find(row.kind, code, row.length - 1);
            ASSERT_NE(found, nullptr) << int{code};
            EXPECT_EQ(found->longForm, row.longForm) << found->name;
            EXPECT_EQ(found->FixedLength() + found->minTail, row.length - 1) << found->name;
        }
    }
}

// Both speak the same commands in the same order; only the long connect request differs.
TEST(Commands, DesktopMirrorsFile) {
    constexpr int kDistance = int{UDP_FILE_SINK_CONNECT} - int{UDP_DESKTOP_SINK_CONNECT};
    int compared = 0;
    for (const CommandRow& file : Commands()) {
        if (file.kind != Kind::File || file.longForm) continue;
        const auto code = static_cast<uint8_t>(file.code - kDistance);
        const CommandRow* desktop = Find(Kind::Desktop, code, file.FixedLength() + file.minTail);
        ASSERT_NE(desktop, nullptr) << file.name;
        EXPECT_EQ(desktop->fields, file.fields) << file.name;
        EXPECT_EQ(desktop->tail, file.tail) << file.name;
        EXPECT_EQ(std::string(desktop->name).substr(11), std::string(file.name).substr(8));
        ++compared;
    }
    EXPECT_EQ(compared, 14);
}

TEST(Commands, KindsHaveNames) {
    EXPECT_STREQ(KindName(0), "UDP_AUDIO");
    EXPECT_STREQ(KindName(2), "UDP_P2P");
    EXPECT_STREQ(KindName(3), "UDP_P2P_ACK");
    EXPECT_STREQ(KindName(7), "UDP_STUN");
    EXPECT_EQ(KindName(8), nullptr);
    EXPECT_EQ(KindName(255), nullptr);
}

}  // namespace
