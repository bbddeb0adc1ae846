// What the first bytes of an Opus packet tell.
#pragma once

#include <opus/opus.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>

namespace lumo {

inline constexpr uint32_t kOpusRate = 48000;  ///< samples a second of every granule position

/// Samples of a packet at 48 kHz, 5760 at most; 0 when it is not one.
inline uint32_t OpusSamples(const char* packet, size_t length) {
    const auto known = static_cast<opus_int32>(std::min<size_t>(length, INT32_MAX));
    const auto* bytes = reinterpret_cast<const unsigned char*>(packet);
    return static_cast<uint32_t>(std::max(0, opus_packet_get_nb_samples(bytes, known, kOpusRate)));
}

/// A packet as long as one frame of `like`, without content: a decoder conceals the loss.
inline std::string LostOpusPacket(const std::string& like) {
    return std::string(1, static_cast<char>(like.at(0) & 0xfc));  // one frame of no bytes
}

}  // namespace lumo
