// Whether a recorded byte stream is what was published, and whether it decodes.
#pragma once

#include <cstdint>
#include <string>

namespace lumo {

struct VideoVerdict {
    uint64_t units = 0;    ///< access units of the recording
    bool decoded = false;  ///< ffmpeg was there to decode both
    std::string problem;   ///< empty: it is as it should be
};

/// The recording must begin with a key unit, each unit must be one of the published file byte for byte and follow the
/// one before, unless it is a key. Where ffmpeg is installed it must also decode without a complaint, to as many
/// pictures as it has units, and each picture must be one that the published file decodes to. One thread.
VideoVerdict CheckVideo(const std::string& published, const std::string& recorded);

}  // namespace lumo
