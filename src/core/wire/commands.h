// Every datagram of the system as one row of one table: dispatchers, senders, the server, the log and the dump read it.
#pragma once

#include <array>
#include <cstdint>

namespace wire {

/// First byte of every datagram.
enum class Kind : uint8_t {
    Audio = 0,
    Video = 1,
    P2P = 2,
    P2PAck = 3,
    Whiteboard = 4,
    Desktop = 5,
    File = 6,
    Stun = 7,
};
inline constexpr uint8_t kKindCount = 8;

/// Service types of the TCP validation messages.
enum class TcpType : uint32_t {
    AudioSender = 2,
    AudioReceiver = 3,
    VideoSender = 7,
    VideoReceiver = 8,
    Whiteboard = 9,
    DesktopSender = 10,
    DesktopReceiver = 11,
    FileSender = 12,
    FileReceiver = 13,
    Signalling = 100,
};

/// What a fixed field of a datagram means; all are u32 big-endian but Port, which is u16.
enum class Field : uint8_t {
    None,
    ReceiverID,
    SinkID,
    ChannelID,
    SenderKey,
    SourceID,
    UserID,
    RelayIP0,
    RelayIP1,
    RelayIP2,
    RelayPort,
    StartParam,
    ClientSessionID,
    ServerSessionID,
    Unused,
};

/// What follows the fixed fields.
enum class Tail : uint8_t { None, Frame, SessionPacket };

inline constexpr int kMaxFields = 7;

struct CommandRow {
    Kind kind;
    uint8_t code;
    const char* name;  ///< e.g. "UDP_FILE_SINK_CONNECT"
    bool longForm;     ///< the form of a connect request that only servers take
    std::array<Field, kMaxFields> fields;
    Tail tail;
    uint8_t minTail;  ///< fewest bytes of the tail

    /// Bytes after the kind byte before the tail: the command byte and the fields.
    constexpr int FixedLength() const {
        int length = 1;
        for (Field field : fields) length += field == Field::None ? 0 : field == Field::RelayPort ? 2 : 4;
        return length;
    }
    /// Whether a body (the datagram less its kind byte) of this length is this command's.
    constexpr bool Accepts(int bodyLength) const {
        return tail == Tail::None ? bodyLength == FixedLength() : bodyLength >= FixedLength() + minTail;
    }
};

/// The whole table.
struct CommandTable {
    const CommandRow* rows;
    int count;
    const CommandRow* begin() const { return rows; }
    const CommandRow* end() const { return rows + count; }
};
CommandTable Commands();

/// The row whose kind and code match and whose length fits, short forms and long ones alike; null when none does.
const CommandRow* FindCommand(Kind kind, const uint8_t* body, int bodyLength);

/// "UDP_AUDIO" ... "UDP_STUN"; null from kind 8 on.
const char* KindName(uint8_t kind);

// Codes, named as in the table. A code is written here and nowhere else.
enum AudioCode : uint8_t {
    UDP_AUDIO_SINK_CONNECT = 0x00,
    UDP_AUDIO_SINK_CONNECT_ACK = 0x01,
    UDP_AUDIO_SINK_FRAME = 0x02,
    UDP_AUDIO_SINK_START = 0x04,
    UDP_AUDIO_SINK_START_ACK = 0x05,
    UDP_AUDIO_SINK_STOP = 0x06,
    UDP_AUDIO_SINK_STOP_ACK = 0x07,
    UDP_AUDIO_SINK_DISCONNECT = 0x08,
    UDP_AUDIO_SOURCE_CONNECT = 0x12,
    UDP_AUDIO_SOURCE_CONNECT_ACK = 0x13,
    UDP_AUDIO_SOURCE_START = 0x14,
    UDP_AUDIO_SOURCE_START_ACK = 0x15,
    UDP_AUDIO_SOURCE_STOP = 0x16,
    UDP_AUDIO_SOURCE_STOP_ACK = 0x17,
    UDP_AUDIO_SOURCE_DISCONNECT = 0x18,
    UDP_AUDIO_SOURCE_FRAME = 0x19,
};
enum VideoCode : uint8_t {
    UDP_VIDEO_SINK_CONNECT = 0x09,
    UDP_VIDEO_SINK_CONNECT_ACK = 0x0A,
    UDP_VIDEO_SINK_START = 0x0B,
    UDP_VIDEO_SINK_START_ACK = 0x0C,
    UDP_VIDEO_SINK_STOP = 0x0D,
    UDP_VIDEO_SINK_STOP_ACK = 0x0E,
    UDP_VIDEO_SINK_FRAME = 0x0F,
    UDP_VIDEO_SINK_FRAME_ACK = 0x10,
    UDP_VIDEO_SINK_DISCONNECT = 0x11,
    UDP_VIDEO_SOURCE_CONNECT = 0x1B,
    UDP_VIDEO_SOURCE_CONNECT_ACK = 0x1C,
    UDP_VIDEO_SOURCE_START = 0x1D,
    UDP_VIDEO_SOURCE_START_ACK = 0x1E,
    UDP_VIDEO_SOURCE_STOP = 0x1F,
    UDP_VIDEO_SOURCE_STOP_ACK = 0x20,
    UDP_VIDEO_SOURCE_FRAME = 0x21,
    UDP_VIDEO_SOURCE_FRAME_ACK = 0x22,
    UDP_VIDEO_SOURCE_DISCONNECT = 0x23,
};
enum WhiteboardCode : uint8_t {
    UDP_WB_CONNECT = 0x24,
    UDP_WB_CONNECT_ACK = 0x25,
    UDP_WB_DISCONNECT = 0x26,
    UDP_WB_KEEP_ALIVE = 0x27,
    UDP_WB_KEEP_ALIVE_ACK = 0x28,
    UDP_WB_CLIENT_FRAME = 0x29,
    UDP_WB_SERVER_FRAME = 0x2A,
};
enum DesktopCode : uint8_t {
    UDP_DESKTOP_SINK_CONNECT = 0x2B,
    UDP_DESKTOP_SINK_CONNECT_ACK = 0x2C,
    UDP_DESKTOP_SINK_KEEP_ALIVE = 0x2D,
    UDP_DESKTOP_SINK_KEEP_ALIVE_ACK = 0x2E,
    UDP_DESKTOP_SINK_FRAME = 0x2F,
    UDP_DESKTOP_SINK_FRAME_ACK = 0x30,
    UDP_DESKTOP_SINK_DISCONNECT = 0x31,
    UDP_DESKTOP_SOURCE_CONNECT = 0x32,
    UDP_DESKTOP_SOURCE_CONNECT_ACK = 0x33,
    UDP_DESKTOP_SOURCE_FRAME = 0x34,
    UDP_DESKTOP_SOURCE_FRAME_ACK = 0x35,
    UDP_DESKTOP_SOURCE_KEEP_ALIVE = 0x36,
    UDP_DESKTOP_SOURCE_KEEP_ALIVE_ACK = 0x37,
    UDP_DESKTOP_SOURCE_DISCONNECT = 0x38,
};
enum FileCode : uint8_t {
    UDP_FILE_SINK_CONNECT = 0x39,
    UDP_FILE_SINK_CONNECT_ACK = 0x3A,
    UDP_FILE_SINK_KEEP_ALIVE = 0x3B,
    UDP_FILE_SINK_KEEP_ALIVE_ACK = 0x3C,
    UDP_FILE_SINK_FRAME = 0x3D,
    UDP_FILE_SINK_FRAME_ACK = 0x3E,
    UDP_FILE_SINK_DISCONNECT = 0x3F,
    UDP_FILE_SOURCE_CONNECT = 0x40,
    UDP_FILE_SOURCE_CONNECT_ACK = 0x41,
    UDP_FILE_SOURCE_FRAME = 0x42,
    UDP_FILE_SOURCE_FRAME_ACK = 0x43,
    UDP_FILE_SOURCE_KEEP_ALIVE = 0x44,
    UDP_FILE_SOURCE_KEEP_ALIVE_ACK = 0x45,
    UDP_FILE_SOURCE_DISCONNECT = 0x46,
};

}  // namespace wire
