// What the two halves of a UDP link say of themselves in the statistics.
#pragma once

#include "core/wire/commands.h"
#include "link/mcu_address.h"
#include "lumomedia/statistics.h"

#include <cstdint>

inline void DescribeFarSide(LumoLinkStatistics& statistics, wire::Kind kind, uint32_t id, const CRemoteAddress& remote,
                            uint64_t signsOfLife) {
    statistics.ulLinkID = id;
    statistics.ulRemoteIP = remote.IP();
    statistics.usRemotePort = remote.Port();
    statistics.byKind = static_cast<unsigned char>(kind);
    statistics.ullSignsOfLife = signsOfLife;
}
