// What a publisher over UDP is told.
#pragma once

#include "core/wire/datagram.h"
#include "server/source.h"

#include <cstdint>

inline wire::CDatagram SourceConnectAck(const CSourceProfile& profile, uint32_t senderKey, uint32_t sourceID) {
    return wire::CDatagram(profile.kind, profile.connectAck).U32(senderKey).U32(sourceID).U32(0);
}

/// START with how many listen, or STOP, where publishers are started and stopped; elsewhere KEEP_ALIVE.
inline wire::CDatagram SourceKeepAlive(const CSourceProfile& profile, uint32_t senderKey, uint32_t wanted) {
    if (profile.Stops() && wanted == 0) return wire::CDatagram(profile.kind, profile.stop).U32(senderKey);
    wire::CDatagram datagram(profile.kind, profile.keepAlive);
    datagram.U32(senderKey);
    return profile.Stops() ? datagram.U32(wanted) : datagram;
}
