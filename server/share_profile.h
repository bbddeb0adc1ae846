// The sources of shares (files and desktops), whose codes have one order.
#pragma once

#include "core/wire/share_codes.h"
#include "server/source.h"

constexpr CSourceProfile ShareSourceProfile(const wire::ShareCodes& codes, const char* medium) {
    return {.kind = codes.kind,
            .medium = medium,
            .connect = codes.sourceConnect,
            .connectAck = codes.sourceConnectAck,
            .frame = codes.sourceFrame,
            .frameAck = codes.sourceFrameAck,
            .keepAlive = codes.sourceKeepAlive,
            .stop = 0,
            .disconnect = codes.sourceDisconnect,
            .acknowledgements = 2,
            .session = true,
            .subscribersAskOnce = false,
            .senderType = codes.sender,
            .receiverType = codes.receiver};
}
