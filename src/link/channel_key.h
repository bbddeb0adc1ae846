// What tells channels of one number apart.
#pragma once

#include <cstdint>

/// A channel of this host has its number as its key. One that a relay server fetches from another has a number of the
/// server's own in the upper half, so that it is neither this host's nor that of a third.
using ChannelKey = uint64_t;

constexpr ChannelKey MakeChannelKey(uint32_t legID, uint32_t channelID) {
    return (ChannelKey{legID} << 32) | channelID;
}
/// As the wire names it.
constexpr uint32_t ChannelNumber(ChannelKey key) { return static_cast<uint32_t>(key); }
