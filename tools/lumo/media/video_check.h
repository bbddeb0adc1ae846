// Whether a recorded byte stream is what was published, and whether it decodes.
#pragma once

#include "tools/lumo/media/annexb_reader.h"

#include <cstdint>
#include <set>
#include <string>
#include <vector>

namespace lumo {

struct VideoVerdict {
    uint64_t units = 0;    ///< access units of the recording
    bool decoded = false;  ///< ffmpeg was there to decode both
    std::string problem;   ///< empty: it is as it should be
};

/// One published file and what was seen of it. A recording must begin with a key unit, each unit must be one of the
/// published file byte for byte and follow the one before, unless it is a key. Where ffmpeg is installed it must also
/// decode without a complaint, to as many pictures as it has units, and each picture must be one that the published
/// file decodes to. One thread.
class CVideoCheck {
public:
    explicit CVideoCheck(const std::string& published);

    VideoVerdict Check(const std::string& recorded);

private:
    std::string CheckUnits(const std::vector<AccessUnit>& recorded) const;
    /// Decodes the published file the first time; false when there is no decoder.
    bool KnowPictures();

    const std::string m_strPublished;
    const std::vector<AccessUnit> m_units;
    std::set<std::string> m_pictures;  // hashes of what the published file decodes to
};

inline VideoVerdict CheckVideo(const std::string& published, const std::string& recorded) {
    return CVideoCheck(published).Check(recorded);
}

}  // namespace lumo
