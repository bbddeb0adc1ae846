// The sources of streams that start and stop (audio and video).
#pragma once

#include "core/wire/stream_codes.h"
#include "server/source.h"

/// `start` and `stop` are control bytes of its TCP links.
constexpr CSourceProfile StreamSourceProfile(const wire::StreamCodes& codes, const char* medium, char start,
                                             char stop) {
    return {.kind = codes.kind,
            .medium = medium,
            .connect = codes.sourceConnect,
            .connectAck = codes.sourceConnectAck,
            .frame = codes.sourceFrame,
            .frameAck = 0,
            .keepAlive = codes.sourceStart,
            .stop = codes.sourceStop,
            .disconnect = codes.sourceDisconnect,
            .acknowledgements = 1,
            .session = false,
            .subscribersAskOnce = false,
            .senderType = codes.sender,
            .receiverType = codes.receiver,
            .tcpStart = start,
            .tcpStop = stop};
}
