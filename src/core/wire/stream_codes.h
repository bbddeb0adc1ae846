// The commands of the media whose subscribers say start and stop.
#pragma once

#include "core/wire/commands.h"

#include <cstdint>

namespace wire {

/// What audio and video have alike, each with codes of its own, and two TCP services.
struct StreamCodes {
    Kind kind;
    uint8_t sinkConnect, sinkConnectAck, sinkStart, sinkStartAck, sinkStop, sinkStopAck, sinkFrame, sinkDisconnect;
    uint8_t sourceConnect, sourceConnectAck, sourceStart, sourceStartAck, sourceStop, sourceStopAck, sourceFrame,
        sourceDisconnect;
    TcpType sender, receiver;
};

inline constexpr StreamCodes kAudioCodes{.kind = Kind::Audio,
                                         .sinkConnect = UDP_AUDIO_SINK_CONNECT,
                                         .sinkConnectAck = UDP_AUDIO_SINK_CONNECT_ACK,
                                         .sinkStart = UDP_AUDIO_SINK_START,
                                         .sinkStartAck = UDP_AUDIO_SINK_START_ACK,
                                         .sinkStop = UDP_AUDIO_SINK_STOP,
                                         .sinkStopAck = UDP_AUDIO_SINK_STOP_ACK,
                                         .sinkFrame = UDP_AUDIO_SINK_FRAME,
                                         .sinkDisconnect = UDP_AUDIO_SINK_DISCONNECT,
                                         .sourceConnect = UDP_AUDIO_SOURCE_CONNECT,
                                         .sourceConnectAck = UDP_AUDIO_SOURCE_CONNECT_ACK,
                                         .sourceStart = UDP_AUDIO_SOURCE_START,
                                         .sourceStartAck = UDP_AUDIO_SOURCE_START_ACK,
                                         .sourceStop = UDP_AUDIO_SOURCE_STOP,
                                         .sourceStopAck = UDP_AUDIO_SOURCE_STOP_ACK,
                                         .sourceFrame = UDP_AUDIO_SOURCE_FRAME,
                                         .sourceDisconnect = UDP_AUDIO_SOURCE_DISCONNECT,
                                         .sender = TcpType::AudioSender,
                                         .receiver = TcpType::AudioReceiver};

inline constexpr StreamCodes kVideoCodes{.kind = Kind::Video,
                                         .sinkConnect = UDP_VIDEO_SINK_CONNECT,
                                         .sinkConnectAck = UDP_VIDEO_SINK_CONNECT_ACK,
                                         .sinkStart = UDP_VIDEO_SINK_START,
                                         .sinkStartAck = UDP_VIDEO_SINK_START_ACK,
                                         .sinkStop = UDP_VIDEO_SINK_STOP,
                                         .sinkStopAck = UDP_VIDEO_SINK_STOP_ACK,
                                         .sinkFrame = UDP_VIDEO_SINK_FRAME,
                                         .sinkDisconnect = UDP_VIDEO_SINK_DISCONNECT,
                                         .sourceConnect = UDP_VIDEO_SOURCE_CONNECT,
                                         .sourceConnectAck = UDP_VIDEO_SOURCE_CONNECT_ACK,
                                         .sourceStart = UDP_VIDEO_SOURCE_START,
                                         .sourceStartAck = UDP_VIDEO_SOURCE_START_ACK,
                                         .sourceStop = UDP_VIDEO_SOURCE_STOP,
                                         .sourceStopAck = UDP_VIDEO_SOURCE_STOP_ACK,
                                         .sourceFrame = UDP_VIDEO_SOURCE_FRAME,
                                         .sourceDisconnect = UDP_VIDEO_SOURCE_DISCONNECT,
                                         .sender = TcpType::VideoSender,
                                         .receiver = TcpType::VideoReceiver};

}  // namespace wire
