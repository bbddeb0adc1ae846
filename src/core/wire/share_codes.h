// The commands of the media whose publishers and subscribers are kept alive by plain keep-alives.
#pragma once

#include "core/wire/commands.h"

#include <cstdint>

namespace wire {

/// Files and desktops have the same commands in the same order, each with codes of its own, and two TCP services.
struct ShareCodes {
    constexpr ShareCodes(Kind ownKind, uint8_t first, TcpType senderService, TcpType receiverService)
        : kind(ownKind),
          sinkConnect(first++),
          sinkConnectAck(first++),
          sinkKeepAlive(first++),
          sinkKeepAliveAck(first++),
          sinkFrame(first++),
          sinkFrameAck(first++),
          sinkDisconnect(first++),
          sourceConnect(first++),
          sourceConnectAck(first++),
          sourceFrame(first++),
          sourceFrameAck(first++),
          sourceKeepAlive(first++),
          sourceKeepAliveAck(first++),
          sourceDisconnect(first),
          sender(senderService),
          receiver(receiverService) {}

    Kind kind;
    uint8_t sinkConnect, sinkConnectAck, sinkKeepAlive, sinkKeepAliveAck, sinkFrame, sinkFrameAck, sinkDisconnect;
    uint8_t sourceConnect, sourceConnectAck, sourceFrame, sourceFrameAck, sourceKeepAlive, sourceKeepAliveAck,
        sourceDisconnect;
    TcpType sender, receiver;
};

inline constexpr ShareCodes kDesktopCodes(Kind::Desktop, UDP_DESKTOP_SINK_CONNECT, TcpType::DesktopSender,
                                          TcpType::DesktopReceiver);
inline constexpr ShareCodes kFileCodes(Kind::File, UDP_FILE_SINK_CONNECT, TcpType::FileSender, TcpType::FileReceiver);

static_assert(kDesktopCodes.sourceConnect == UDP_DESKTOP_SOURCE_CONNECT &&
              kDesktopCodes.sourceDisconnect == UDP_DESKTOP_SOURCE_DISCONNECT);
static_assert(kFileCodes.sourceConnect == UDP_FILE_SOURCE_CONNECT &&
              kFileCodes.sourceDisconnect == UDP_FILE_SOURCE_DISCONNECT);

}  // namespace wire
