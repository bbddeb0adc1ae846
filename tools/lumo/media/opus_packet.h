// What the first bytes of an Opus packet tell.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

namespace lumo {

inline constexpr uint32_t kOpusRate = 48000;  ///< samples a second of every granule position

/// Samples of a packet at 48 kHz, 5760 at most; 0 when it is not one.
uint32_t OpusSamples(const char* packet, size_t length);

/// A packet as long as one frame of `like`, without content: a decoder conceals the loss.
std::string LostOpusPacket(const std::string& like);

}  // namespace lumo
