// A frame of an audio channel, as `lumo publish audio` makes it: docs/audio-frames.md.
#pragma once

#include <lumomedia/seal.h>

#include <cstddef>
#include <cstdint>
#include <string>

namespace lumo {

inline constexpr size_t kAudioHeadLength = 20;
inline constexpr size_t kMaxAudioFrame = 1066;  ///< the library drops longer ones
inline constexpr size_t kMaxAudioPacket = kMaxAudioFrame - kAudioHeadLength;
inline constexpr size_t kMaxSealedAudioPacket = kMaxAudioPacket - kSealOverhead;

struct AudioFrame {
    static constexpr uint64_t kNoPosition = UINT64_MAX;

    uint32_t sequence = 0;  ///< of audio packets; in a control frame that of the next one
    uint64_t granule = 0;   ///< position of its end at 48 kHz; kNoPosition: a control frame
    uint64_t sentUs = 0;    ///< microseconds since 1970
    std::string body;       ///< an Opus packet; of a control frame an Ogg head, or nothing: the end

    bool IsControl() const { return granule == kNoPosition; }
};

std::string Encode(const AudioFrame& frame);
/// False for anything that is too short or too long.
bool Decode(const char* data, size_t length, AudioFrame& frame);

}  // namespace lumo
