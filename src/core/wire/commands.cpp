#include "core/wire/commands.h"

#include <iterator>

namespace wire {
namespace {

using F = Field;

// The enumerator is the name: neither is written twice. Rows stand in the order of their codes.
#define LUMO_ROW(kind, code, ...) MakeRow(Kind::kind, code, #code, __VA_ARGS__)

struct FieldList {
    std::array<Field, kMaxFields> fields;
};

constexpr CommandRow MakeRow(Kind kind, uint8_t code, const char* name, const FieldList& list, bool longForm = false,
                             Tail tail = Tail::None, uint8_t minTail = 0) {
    return {kind, code, name, longForm, list.fields, tail, minTail};
}

constexpr bool kLongForm = true;
constexpr bool kShortForm = false;

constexpr FieldList kReceiverChannel = {{F::ReceiverID, F::ChannelID}};
constexpr FieldList kReceiverChannelUser = {{F::ReceiverID, F::ChannelID, F::UserID}};
constexpr FieldList kReceiverRelayUser = {
    {F::ReceiverID, F::ChannelID, F::RelayIP0, F::RelayIP1, F::RelayIP2, F::RelayPort, F::UserID}};
constexpr FieldList kReceiverRelay = {{F::ReceiverID, F::ChannelID, F::RelayIP0, F::RelayIP1, F::RelayIP2}};
constexpr FieldList kReceiverRelayPort = {
    {F::ReceiverID, F::ChannelID, F::RelayIP0, F::RelayIP1, F::RelayIP2, F::RelayPort}};
constexpr FieldList kReceiverSink = {{F::ReceiverID, F::SinkID}};
constexpr FieldList kSink = {{F::SinkID}};
constexpr FieldList kChannelSender = {{F::ChannelID, F::SenderKey}};
constexpr FieldList kSenderSource = {{F::SenderKey, F::SourceID, F::Unused}};
constexpr FieldList kSenderStart = {{F::SenderKey, F::StartParam}};
constexpr FieldList kSender = {{F::SenderKey}};
constexpr FieldList kSource = {{F::SourceID}};
constexpr FieldList kClientChannel = {{F::ClientSessionID, F::ChannelID}};
constexpr FieldList kClientRelayPort = {
    {F::ClientSessionID, F::ChannelID, F::RelayIP0, F::RelayIP1, F::RelayIP2, F::RelayPort}};
constexpr FieldList kClientServer = {{F::ClientSessionID, F::ServerSessionID}};
constexpr FieldList kServer = {{F::ServerSessionID}};

// Tails: commands with two IDs are taken with an empty tail, those with one ID need a byte of it.
constexpr CommandRow kRows[] = {
    LUMO_ROW(Audio, UDP_AUDIO_SINK_CONNECT, kReceiverChannelUser),
    LUMO_ROW(Audio, UDP_AUDIO_SINK_CONNECT, kReceiverRelayUser, kLongForm),
    LUMO_ROW(Audio, UDP_AUDIO_SINK_CONNECT_ACK, kReceiverSink),
    LUMO_ROW(Audio, UDP_AUDIO_SINK_FRAME, kReceiverSink, kShortForm, Tail::Frame, 0),
    LUMO_ROW(Audio, UDP_AUDIO_SINK_START, kSink),
    LUMO_ROW(Audio, UDP_AUDIO_SINK_START_ACK, kReceiverSink),
    LUMO_ROW(Audio, UDP_AUDIO_SINK_STOP, kSink),
    LUMO_ROW(Audio, UDP_AUDIO_SINK_STOP_ACK, kReceiverSink),
    LUMO_ROW(Audio, UDP_AUDIO_SINK_DISCONNECT, kSink),

    LUMO_ROW(Video, UDP_VIDEO_SINK_CONNECT, kReceiverChannelUser),
    LUMO_ROW(Video, UDP_VIDEO_SINK_CONNECT, kReceiverRelayUser, kLongForm),
    LUMO_ROW(Video, UDP_VIDEO_SINK_CONNECT_ACK, kReceiverSink),
    LUMO_ROW(Video, UDP_VIDEO_SINK_START, kSink),
    LUMO_ROW(Video, UDP_VIDEO_SINK_START_ACK, kReceiverSink),
    LUMO_ROW(Video, UDP_VIDEO_SINK_STOP, kSink),
    LUMO_ROW(Video, UDP_VIDEO_SINK_STOP_ACK, kReceiverSink),
    LUMO_ROW(Video, UDP_VIDEO_SINK_FRAME, kReceiverSink, kShortForm, Tail::SessionPacket, 0),
    LUMO_ROW(Video, UDP_VIDEO_SINK_FRAME_ACK, kSink, kShortForm, Tail::SessionPacket, 1),
    LUMO_ROW(Video, UDP_VIDEO_SINK_DISCONNECT, kSink),

    LUMO_ROW(Audio, UDP_AUDIO_SOURCE_CONNECT, kChannelSender),
    LUMO_ROW(Audio, UDP_AUDIO_SOURCE_CONNECT_ACK, kSenderSource),
    LUMO_ROW(Audio, UDP_AUDIO_SOURCE_START, kSenderStart),
    LUMO_ROW(Audio, UDP_AUDIO_SOURCE_START_ACK, kSource),
    LUMO_ROW(Audio, UDP_AUDIO_SOURCE_STOP, kSender),
    LUMO_ROW(Audio, UDP_AUDIO_SOURCE_STOP_ACK, kSource),
    LUMO_ROW(Audio, UDP_AUDIO_SOURCE_DISCONNECT, kSource),
    LUMO_ROW(Audio, UDP_AUDIO_SOURCE_FRAME, kSource, kShortForm, Tail::Frame, 3),  // shorter ones are never sent

    LUMO_ROW(Video, UDP_VIDEO_SOURCE_CONNECT, kChannelSender),
    LUMO_ROW(Video, UDP_VIDEO_SOURCE_CONNECT_ACK, kSenderSource),
    LUMO_ROW(Video, UDP_VIDEO_SOURCE_START, kSenderStart),
    LUMO_ROW(Video, UDP_VIDEO_SOURCE_START_ACK, kSource),
    LUMO_ROW(Video, UDP_VIDEO_SOURCE_STOP, kSender),
    LUMO_ROW(Video, UDP_VIDEO_SOURCE_STOP_ACK, kSource),
    LUMO_ROW(Video, UDP_VIDEO_SOURCE_FRAME, kSource, kShortForm, Tail::SessionPacket, 1),
    LUMO_ROW(Video, UDP_VIDEO_SOURCE_FRAME_ACK, kSender, kShortForm, Tail::SessionPacket, 1),
    LUMO_ROW(Video, UDP_VIDEO_SOURCE_DISCONNECT, kSource),

    LUMO_ROW(Whiteboard, UDP_WB_CONNECT, kClientChannel),
    LUMO_ROW(Whiteboard, UDP_WB_CONNECT, kClientRelayPort, kLongForm),
    LUMO_ROW(Whiteboard, UDP_WB_CONNECT_ACK, kClientServer),
    LUMO_ROW(Whiteboard, UDP_WB_DISCONNECT, kServer),
    LUMO_ROW(Whiteboard, UDP_WB_KEEP_ALIVE, kServer),
    LUMO_ROW(Whiteboard, UDP_WB_KEEP_ALIVE_ACK, kClientServer),
    LUMO_ROW(Whiteboard, UDP_WB_CLIENT_FRAME, kServer, kShortForm, Tail::SessionPacket, 1),
    LUMO_ROW(Whiteboard, UDP_WB_SERVER_FRAME, kClientServer, kShortForm, Tail::SessionPacket, 0),

    LUMO_ROW(Desktop, UDP_DESKTOP_SINK_CONNECT, kReceiverChannel),
    LUMO_ROW(Desktop, UDP_DESKTOP_SINK_CONNECT, kReceiverRelayPort, kLongForm),
    LUMO_ROW(Desktop, UDP_DESKTOP_SINK_CONNECT_ACK, kReceiverSink),
    LUMO_ROW(Desktop, UDP_DESKTOP_SINK_KEEP_ALIVE, kSink),
    LUMO_ROW(Desktop, UDP_DESKTOP_SINK_KEEP_ALIVE_ACK, kReceiverSink),
    LUMO_ROW(Desktop, UDP_DESKTOP_SINK_FRAME, kReceiverSink, kShortForm, Tail::SessionPacket, 0),
    LUMO_ROW(Desktop, UDP_DESKTOP_SINK_FRAME_ACK, kSink, kShortForm, Tail::SessionPacket, 1),
    LUMO_ROW(Desktop, UDP_DESKTOP_SINK_DISCONNECT, kSink),
    LUMO_ROW(Desktop, UDP_DESKTOP_SOURCE_CONNECT, kChannelSender),
    LUMO_ROW(Desktop, UDP_DESKTOP_SOURCE_CONNECT_ACK, kSenderSource),
    LUMO_ROW(Desktop, UDP_DESKTOP_SOURCE_FRAME, kSource, kShortForm, Tail::SessionPacket, 1),
    LUMO_ROW(Desktop, UDP_DESKTOP_SOURCE_FRAME_ACK, kSender, kShortForm, Tail::SessionPacket, 1),
    LUMO_ROW(Desktop, UDP_DESKTOP_SOURCE_KEEP_ALIVE, kSender),
    LUMO_ROW(Desktop, UDP_DESKTOP_SOURCE_KEEP_ALIVE_ACK, kSource),
    LUMO_ROW(Desktop, UDP_DESKTOP_SOURCE_DISCONNECT, kSource),

    LUMO_ROW(File, UDP_FILE_SINK_CONNECT, kReceiverChannel),
    LUMO_ROW(File, UDP_FILE_SINK_CONNECT, kReceiverRelay, kLongForm),
    LUMO_ROW(File, UDP_FILE_SINK_CONNECT_ACK, kReceiverSink),
    LUMO_ROW(File, UDP_FILE_SINK_KEEP_ALIVE, kSink),
    LUMO_ROW(File, UDP_FILE_SINK_KEEP_ALIVE_ACK, kReceiverSink),
    LUMO_ROW(File, UDP_FILE_SINK_FRAME, kReceiverSink, kShortForm, Tail::SessionPacket, 0),
    LUMO_ROW(File, UDP_FILE_SINK_FRAME_ACK, kSink, kShortForm, Tail::SessionPacket, 1),
    LUMO_ROW(File, UDP_FILE_SINK_DISCONNECT, kSink),
    LUMO_ROW(File, UDP_FILE_SOURCE_CONNECT, kChannelSender),
    LUMO_ROW(File, UDP_FILE_SOURCE_CONNECT_ACK, kSenderSource),
    LUMO_ROW(File, UDP_FILE_SOURCE_FRAME, kSource, kShortForm, Tail::SessionPacket, 1),
    LUMO_ROW(File, UDP_FILE_SOURCE_FRAME_ACK, kSender, kShortForm, Tail::SessionPacket, 1),
    LUMO_ROW(File, UDP_FILE_SOURCE_KEEP_ALIVE, kSender),
    LUMO_ROW(File, UDP_FILE_SOURCE_KEEP_ALIVE_ACK, kSource),
    LUMO_ROW(File, UDP_FILE_SOURCE_DISCONNECT, kSource),
};

constexpr int kRowCount = static_cast<int>(std::size(kRows));
constexpr int kCodeCount = kRows[kRowCount - 1].code + 1;
constexpr uint8_t kNoRow = 0xFF;

// The look-up takes the first row of a code and the one after it, so this is all it relies on.
constexpr bool RowsAreInOrder() {
    for (int i = 1; i < kRowCount; ++i) {
        const CommandRow& before = kRows[i - 1];
        const CommandRow& row = kRows[i];
        if (row.code > before.code && !row.longForm) continue;
        const bool secondForm = row.code == before.code && row.kind == before.kind && row.longForm && !before.longForm;
        if (!secondForm || row.FixedLength() == before.FixedLength()) return false;
        if (row.tail != Tail::None || before.tail != Tail::None) return false;
    }
    return !kRows[0].longForm;
}
static_assert(RowsAreInOrder(), "ascending codes; at most a short and a long form of one code, of different lengths");
static_assert(kRowCount < kNoRow, "row numbers must fit a byte");

constexpr std::array<uint8_t, kCodeCount> IndexRows() {
    std::array<uint8_t, kCodeCount> index{};
    for (uint8_t& first : index) first = kNoRow;
    for (int i = kRowCount - 1; i >= 0; --i) index[kRows[i].code] = static_cast<uint8_t>(i);
    return index;
}
constexpr std::array<uint8_t, kCodeCount> kFirstRow = IndexRows();

constexpr const char* kKindNames[kKindCount] = {"UDP_AUDIO", "UDP_VIDEO",   "UDP_P2P",  "UDP_P2P_ACK",
                                                "UDP_WB",    "UDP_DESKTOP", "UDP_FILE", "UDP_STUN"};

}  // namespace

CommandTable Commands() { return {kRows, kRowCount}; }

const CommandRow* FindCommand(Kind kind, const uint8_t* body, int bodyLength) {
    if (!body || bodyLength < 1 || body[0] >= kCodeCount) return nullptr;
    const uint8_t first = kFirstRow[body[0]];
    if (first == kNoRow || kRows[first].kind != kind) return nullptr;
    if (kRows[first].Accepts(bodyLength)) return &kRows[first];
    const int second = first + 1;
    if (second < kRowCount && kRows[second].code == body[0] && kRows[second].Accepts(bodyLength)) return &kRows[second];
    return nullptr;
}

const char* KindName(uint8_t kind) { return kind < kKindCount ? kKindNames[kind] : nullptr; }

}  // namespace wire
