// Which channel a stream is.
#pragma once

#include "link/channel_key.h"
#include "server/status.h"

#include <cstdint>

/// This server's own channel of that number, or the one at another server.
struct CStreamName {
    uint32_t channelID;
    uint32_t legID = 0;  ///< of the leg to the other server, a number of this server's own; 0: its own channel
    CPeer home{};        ///< the other server, by its first address

    bool IsRelayed() const { return legID != 0; }
    ChannelKey Key() const { return MakeChannelKey(legID, channelID); }
};
