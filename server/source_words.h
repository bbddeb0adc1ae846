// What a publisher over UDP is told.
#pragma once

#include "core/wire/datagram.h"
#include "server/source.h"

#include <cstdint>

inline wire::CDatagram SourceConnectAck(const CMediumRow& row, uint32_t senderKey, uint32_t sourceID) {
    return wire::CDatagram(row.kind, row.source.connectAck).U32(senderKey).U32(sourceID).U32(0);
}

/// START with how many listen, or STOP, where publishers are started and stopped; elsewhere KEEP_ALIVE.
inline wire::CDatagram SourceKeepAlive(const CMediumRow& row, uint32_t senderKey, uint32_t wanted) {
    if (row.Stops() && wanted == 0) return wire::CDatagram(row.kind, row.source.stop).U32(senderKey);
    wire::CDatagram datagram(row.kind, row.source.keepAlive);
    datagram.U32(senderKey);
    return row.Stops() ? datagram.U32(wanted) : datagram;
}
