// One of the sender's ways out.
#pragma once

#include "tools/lumo/transfer/link_out.h"
#include "tools/lumo/transfer/pace.h"
#include "tools/lumo/transfer/receiver_table.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace lumo {

/// A sender may have two channels, one through a relay and one to peers directly.
inline constexpr size_t kMaxLanes = 2;
/// A lane's channel; null where there is none.
using LaneLinks = std::array<ILinkOut*, kMaxLanes>;

/// Each channel has an order of blocks of its own, for only its receivers see them.
struct CSendLane {
    CSentBlocks sent;
    CQueuePace pace;
    CLead lead;
    uint32_t cursor = 0;  ///< where the search for the next block goes on
    bool beaconDue = true;
    uint64_t beaconMs = 0;
    uint64_t strangerMs = 0;         ///< when something came last that did not open; 0: never
    uint32_t behindBeacon = 0;       ///< frames sent since
    std::vector<uint64_t> confirms;  ///< receivers whose end must be confirmed
};

}  // namespace lumo
