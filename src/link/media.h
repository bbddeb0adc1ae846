// The table of media: each one's commands, services and control bytes, how often it says what, and how long it waits.
#pragma once

#include "core/wire/commands.h"

#include <cstdint>

/// A subscriber, and the sink that serves it, over UDP. Times in milliseconds.
struct CSinkRow {
    uint8_t connect = 0, connectAck = 0;
    uint8_t keepAlive = 0, keepAliveAck = 0;  ///< START, where subscribers start and stop the stream
    uint8_t stop = 0, stopAck = 0;            ///< takes the keep-alive's place while the subscriber wants nothing
    uint8_t frame = 0, frameAck = 0;          ///< down and up
    uint8_t disconnect = 0;

    bool namesPort = true;        ///< long connect requests carry the port of the publisher's server
    bool namesUser = false;       ///< connect requests carry the user ID
    int connectAcks = 2;          ///< sent for each connect request
    int keepAlives = 1;           ///< sent at a time
    int keepAliveAcks = 2;        ///< sent for each
    uint8_t keepAliveEvery = 12;  ///< polls
    uint8_t keepAliveEveryAtPeer = 12;
    bool keepAliveWhenIdle = false;  ///< so many polls without a packet sent; else also at once when acknowledged
    int goodbyes = 3;
    int goodbyesToPeer = 3;

    uint32_t publishersOnlyTimeout = 0;  ///< to connect, when only the publisher's server may be asked
    uint32_t connectTimeout = 30000;     ///< to connect to a server otherwise
    uint32_t p2pTimeout = 0;             ///< to connect to a peer, once a path was found or not
    uint32_t p2pFailedTimeout = 0;       ///< the same when none was found, where it differs
};

/// A publisher, and the source that stands for it at a server, over UDP.
struct CSourceRow {
    uint8_t connect = 0, connectAck = 0;
    uint8_t keepAlive = 0, keepAliveAck = 0;  ///< START with the number of subscribers, where streams start and stop
    uint8_t stop = 0, stopAck = 0;            ///< takes the keep-alive's place while nobody subscribes
    uint8_t frame = 0, frameAck = 0;          ///< up and down
    uint8_t disconnect = 0;

    int connectAcks = 0;          ///< sent for each connect request
    uint32_t connectTimeout = 0;  ///< milliseconds
};

/// Both over TCP. Keep-alives count idle polls.
struct CTcpRow {
    wire::TcpType sender, receiver;
    uint8_t senderKeepAliveEvery = 11;
    char start = 0, stop = 0;  ///< control bytes where streams start and stop; start is the keep-alive everywhere
    char keyFrame = 0;         ///< asks for a key frame, where there are such
    bool statesAlone = false;  ///< a receiver's start and stop take the place of all that waits
};

struct CMediumRow {
    wire::Kind kind;
    const char* name;  ///< as pages, metrics and log lines show it
    bool session;      ///< frames travel in the reliable session, else each in a datagram
    bool board;        ///< no publisher: a channel is made for the first client that asks
    bool asksOnce;     ///< subscribers over UDP send their connect request once, and no keep-alives
    CSinkRow sink;
    CSourceRow source;
    CTcpRow tcp;

    /// Whether streams are started and stopped.
    constexpr bool Stops() const { return source.stop != 0; }
};

namespace media {

inline constexpr uint32_t kGoneAfterMs = 180000;  // a connected far side over UDP that says nothing
inline constexpr int kSourceGoodbyes = 3;
inline constexpr uint8_t kReceiverKeepAliveEvery = 12;  // idle polls of whatever dials a server over TCP to receive
inline constexpr uint8_t kAcceptedKeepAliveEvery = 11;  // idle seconds of an accepted connection

inline constexpr CMediumRow kAudio{.kind = wire::Kind::Audio,
                                   .name = "audio",
                                   .session = false,
                                   .board = false,
                                   .asksOnce = false,
                                   .sink = {.connect = wire::UDP_AUDIO_SINK_CONNECT,
                                            .connectAck = wire::UDP_AUDIO_SINK_CONNECT_ACK,
                                            .keepAlive = wire::UDP_AUDIO_SINK_START,
                                            .keepAliveAck = wire::UDP_AUDIO_SINK_START_ACK,
                                            .stop = wire::UDP_AUDIO_SINK_STOP,
                                            .stopAck = wire::UDP_AUDIO_SINK_STOP_ACK,
                                            .frame = wire::UDP_AUDIO_SINK_FRAME,
                                            .disconnect = wire::UDP_AUDIO_SINK_DISCONNECT,
                                            .namesUser = true,
                                            .keepAlives = 2,
                                            .keepAliveAcks = 1,
                                            .publishersOnlyTimeout = 30000,
                                            .p2pTimeout = 4000},
                                   .source = {.connect = wire::UDP_AUDIO_SOURCE_CONNECT,
                                              .connectAck = wire::UDP_AUDIO_SOURCE_CONNECT_ACK,
                                              .keepAlive = wire::UDP_AUDIO_SOURCE_START,
                                              .keepAliveAck = wire::UDP_AUDIO_SOURCE_START_ACK,
                                              .stop = wire::UDP_AUDIO_SOURCE_STOP,
                                              .stopAck = wire::UDP_AUDIO_SOURCE_STOP_ACK,
                                              .frame = wire::UDP_AUDIO_SOURCE_FRAME,
                                              .disconnect = wire::UDP_AUDIO_SOURCE_DISCONNECT,
                                              .connectAcks = 1,
                                              .connectTimeout = 30000},
                                   .tcp = {.sender = wire::TcpType::AudioSender,
                                           .receiver = wire::TcpType::AudioReceiver,
                                           .start = 0x00,
                                           .stop = 0x01,
                                           .statesAlone = true}};

inline constexpr CMediumRow kVideo{.kind = wire::Kind::Video,
                                   .name = "video",
                                   .session = true,
                                   .board = false,
                                   .asksOnce = false,
                                   .sink = {.connect = wire::UDP_VIDEO_SINK_CONNECT,
                                            .connectAck = wire::UDP_VIDEO_SINK_CONNECT_ACK,
                                            .keepAlive = wire::UDP_VIDEO_SINK_START,
                                            .keepAliveAck = wire::UDP_VIDEO_SINK_START_ACK,
                                            .stop = wire::UDP_VIDEO_SINK_STOP,
                                            .stopAck = wire::UDP_VIDEO_SINK_STOP_ACK,
                                            .frame = wire::UDP_VIDEO_SINK_FRAME,
                                            .frameAck = wire::UDP_VIDEO_SINK_FRAME_ACK,
                                            .disconnect = wire::UDP_VIDEO_SINK_DISCONNECT,
                                            .namesUser = true,
                                            .keepAlives = 2,
                                            .keepAliveAcks = 1,
                                            .publishersOnlyTimeout = 30000,
                                            .p2pTimeout = 4000},
                                   .source = {.connect = wire::UDP_VIDEO_SOURCE_CONNECT,
                                              .connectAck = wire::UDP_VIDEO_SOURCE_CONNECT_ACK,
                                              .keepAlive = wire::UDP_VIDEO_SOURCE_START,
                                              .keepAliveAck = wire::UDP_VIDEO_SOURCE_START_ACK,
                                              .stop = wire::UDP_VIDEO_SOURCE_STOP,
                                              .stopAck = wire::UDP_VIDEO_SOURCE_STOP_ACK,
                                              .frame = wire::UDP_VIDEO_SOURCE_FRAME,
                                              .frameAck = wire::UDP_VIDEO_SOURCE_FRAME_ACK,
                                              .disconnect = wire::UDP_VIDEO_SOURCE_DISCONNECT,
                                              .connectAcks = 1,
                                              .connectTimeout = 30000},
                                   .tcp = {.sender = wire::TcpType::VideoSender,
                                           .receiver = wire::TcpType::VideoReceiver,
                                           .start = 0x04,
                                           .stop = 0x05,
                                           .keyFrame = 0x06}};

inline constexpr CMediumRow kWhiteboard{
    .kind = wire::Kind::Whiteboard,
    .name = "whiteboard",
    .session = true,
    .board = true,
    .asksOnce = false,
    .sink = {.connect = wire::UDP_WB_CONNECT,
             .connectAck = wire::UDP_WB_CONNECT_ACK,
             .keepAlive = wire::UDP_WB_KEEP_ALIVE,
             .keepAliveAck = wire::UDP_WB_KEEP_ALIVE_ACK,
             .frame = wire::UDP_WB_SERVER_FRAME,
             .frameAck = wire::UDP_WB_CLIENT_FRAME,
             .disconnect = wire::UDP_WB_DISCONNECT,
             .keepAliveAcks = 1,
             .keepAliveEvery = 22,
             .keepAliveWhenIdle = true,
             .publishersOnlyTimeout = 4000,
             .p2pTimeout = 30000,
             .p2pFailedTimeout = 4000},
    .source = {},
    .tcp = {.sender = wire::TcpType::Whiteboard, .receiver = wire::TcpType::Whiteboard}};

inline constexpr CMediumRow kDesktop{
    .kind = wire::Kind::Desktop,
    .name = "desktop",
    .session = true,
    .board = false,
    .asksOnce = true,
    .sink = {.connect = wire::UDP_DESKTOP_SINK_CONNECT,
             .connectAck = wire::UDP_DESKTOP_SINK_CONNECT_ACK,
             .keepAlive = wire::UDP_DESKTOP_SINK_KEEP_ALIVE,
             .keepAliveAck = wire::UDP_DESKTOP_SINK_KEEP_ALIVE_ACK,
             .frame = wire::UDP_DESKTOP_SINK_FRAME,
             .frameAck = wire::UDP_DESKTOP_SINK_FRAME_ACK,
             .disconnect = wire::UDP_DESKTOP_SINK_DISCONNECT,
             .goodbyesToPeer = 2,
             .publishersOnlyTimeout = 4000,
             .p2pTimeout = 2000},
    .source = {.connect = wire::UDP_DESKTOP_SOURCE_CONNECT,
               .connectAck = wire::UDP_DESKTOP_SOURCE_CONNECT_ACK,
               .keepAlive = wire::UDP_DESKTOP_SOURCE_KEEP_ALIVE,
               .keepAliveAck = wire::UDP_DESKTOP_SOURCE_KEEP_ALIVE_ACK,
               .frame = wire::UDP_DESKTOP_SOURCE_FRAME,
               .frameAck = wire::UDP_DESKTOP_SOURCE_FRAME_ACK,
               .disconnect = wire::UDP_DESKTOP_SOURCE_DISCONNECT,
               .connectAcks = 2,
               .connectTimeout = 30000},
    .tcp = {.sender = wire::TcpType::DesktopSender, .receiver = wire::TcpType::DesktopReceiver}};

inline constexpr CMediumRow kFile{
    .kind = wire::Kind::File,
    .name = "file",
    .session = true,
    .board = false,
    .asksOnce = false,
    .sink = {.connect = wire::UDP_FILE_SINK_CONNECT,
             .connectAck = wire::UDP_FILE_SINK_CONNECT_ACK,
             .keepAlive = wire::UDP_FILE_SINK_KEEP_ALIVE,
             .keepAliveAck = wire::UDP_FILE_SINK_KEEP_ALIVE_ACK,
             .frame = wire::UDP_FILE_SINK_FRAME,
             .frameAck = wire::UDP_FILE_SINK_FRAME_ACK,
             .disconnect = wire::UDP_FILE_SINK_DISCONNECT,
             .namesPort = false,
             .publishersOnlyTimeout = 4000,
             .p2pTimeout = 2000},
    .source = {.connect = wire::UDP_FILE_SOURCE_CONNECT,
               .connectAck = wire::UDP_FILE_SOURCE_CONNECT_ACK,
               .keepAlive = wire::UDP_FILE_SOURCE_KEEP_ALIVE,
               .keepAliveAck = wire::UDP_FILE_SOURCE_KEEP_ALIVE_ACK,
               .frame = wire::UDP_FILE_SOURCE_FRAME,
               .frameAck = wire::UDP_FILE_SOURCE_FRAME_ACK,
               .disconnect = wire::UDP_FILE_SOURCE_DISCONNECT,
               .connectAcks = 2,
               .connectTimeout = 2000},
    .tcp = {.sender = wire::TcpType::FileSender, .receiver = wire::TcpType::FileReceiver, .senderKeepAliveEvery = 12}};

}  // namespace media
