// Reliable links as the status sees them.
#pragma once

#include "lumomedia/statistics.h"
#include "server/status.h"

inline CLinkSums SumsOf(const LumoLinkStatistics& statistics) {
    return {statistics.ullPacketsSent, statistics.ullRetransmitted, statistics.ullFramesDropped};
}
