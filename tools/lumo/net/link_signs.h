// What the library's statistics tell of the far side of this process's links.
#pragma once

#include "tools/lumo/net/relay_route.h"

#include <lumomedia/statistics.h>

#include <algorithm>
#include <cstdint>

namespace lumo {

/// LumoLinkStatistics::byKind.
inline constexpr unsigned char kAudioKind = 0, kVideoKind = 1, kBoardKind = 4, kDesktopKind = 5, kFileKind = 6;

/// Whether a link's far side is that server at one of its addresses.
inline bool LeadsTo(const LumoLinkStatistics& link, const RelayTarget& server) {
    const auto& ips = server.ips;
    return link.usRemotePort == server.port && std::find(ips.begin(), ips.end(), link.ulRemoteIP) != ips.end();
}

/// Whether frames wait for any reliable link of a kind, or for what its far side has not acknowledged.
inline bool AnyWaits(unsigned char kind) {
    LumoLinkStatistics link{};
    for (unsigned long i = 0; GetLinkStatistics(i, link); ++i)
        if (link.byKind == kind && link.ulQueuedFrames > 0) return true;
    return false;
}

/// What has come of a far side on some links.
struct LinkSigns {
    uint64_t life = 0;   ///< of whatever kind
    uint64_t bytes = 0;  ///< of frames, whole or not

    void Add(const LumoLinkStatistics& link) {
        life += link.ullSignsOfLife;
        bytes += link.ullBytesReceived;
    }
};

/// On all links of a kind with that server, which may have answered from an address that nobody has named.
inline LinkSigns SignsFrom(unsigned char kind, const RelayTarget& server, uint32_t answered) {
    LumoLinkStatistics link{};
    LinkSigns signs;
    for (unsigned long i = 0; GetLinkStatistics(i, link); ++i)
        if (link.byKind == kind && (LeadsTo(link, server) || (answered != 0 && link.ulRemoteIP == answered)))
            signs.Add(link);
    return signs;
}

/// The same of a subscriber's links. A nearer server answers for itself when the publisher's has gone, too: then only
/// what comes of frames tells, and being asked anew makes that server look.
inline LinkSigns SignsThrough(unsigned char kind, const RelayRoute& route, uint32_t answered) {
    LinkSigns signs = SignsFrom(kind, route.Server(), answered);
    if (&route.Server() != &route.mcu) signs.life = signs.bytes;
    return signs;
}

}  // namespace lumo
