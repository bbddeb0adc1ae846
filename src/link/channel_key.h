// What tells channels of one number apart.
#pragma once

#include <cstdint>

/// A channel of this host has its number as its key. A channel that a relay server fetches from another server has a
/// number of the relay's own in the upper half, which tells it from the relay's own channels and from those of a third
/// server.
using ChannelKey = uint64_t;

constexpr ChannelKey MakeChannelKey(uint32_t legID, uint32_t channelID) {
    return (ChannelKey{legID} << 32) | channelID;
}
/// As the wire names it.
constexpr uint32_t ChannelNumber(ChannelKey key) { return static_cast<uint32_t>(key); }
