#include "core/wire/commands.h"

#include <gtest/gtest.h>

#include <set>

using namespace wire;

namespace {

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
        {Kind::Desktop, {UDP_DESKTOP_SINK_CONNECT, UDP_DESKTOP_SINK_FRAME}, 10, false},
        {Kind::Desktop, {UDP_DESKTOP_SINK_FRAME_ACK, UDP_DESKTOP_SOURCE_FRAME, UDP_DESKTOP_SOURCE_FRAME_ACK}, 7, false},
        {Kind::File, {UDP_FILE_SINK_CONNECT}, 22, true},
        {Kind::File, {UDP_FILE_SINK_CONNECT, UDP_FILE_SINK_CONNECT_ACK, UDP_FILE_SINK_FRAME}, 10, false},
        {Kind::File, {UDP_FILE_SINK_FRAME_ACK, UDP_FILE_SOURCE_FRAME, UDP_FILE_SOURCE_FRAME_ACK}, 7, false},
        {Kind::File, {UDP_FILE_SOURCE_CONNECT_ACK}, 14, false},
        {Kind::File, {UDP_FILE_SOURCE_KEEP_ALIVE, UDP_FILE_SOURCE_DISCONNECT, UDP_FILE_SINK_DISCONNECT}, 6, false},
    };
    for (const Row& row : rows) {
        for (const uint8_t code : row.codes) {
            const CommandRow* found = FindCommand(row.kind, &code, row.length - 1);
            ASSERT_NE(found, nullptr) << int{code};
            EXPECT_EQ(found->longForm, row.longForm) << found->name;
            EXPECT_EQ(found->FixedLength() + found->minTail, row.length - 1) << found->name;
            EXPECT_NE(FindCommand(row.kind, &code, row.length - 2), found) << "a byte less";
        }
    }
    EXPECT_EQ(FindCommand(Kind::File, nullptr, 9), nullptr);
}

}  // namespace
