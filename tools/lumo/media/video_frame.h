// A frame of a video channel, as `lumo publish video` makes it: docs/video-frames.md.
#pragma once

#include "tools/lumo/media/annexb_reader.h"

#include <cstdint>
#include <string>
#include <string_view>

namespace lumo {

inline constexpr size_t kVideoHeadLength = 3;
inline constexpr size_t kMaxVideoFrame = kVideoHeadLength + CAnnexBReader::kMaxUnit;

struct VideoFrame {
    bool key = false;
    uint16_t sequence = 0;
    std::string_view unit;  ///< an access unit, start codes included

    /// The publisher ends: an access unit that is an end of stream and nothing else.
    bool IsEnd() const;
};

std::string Encode(const VideoFrame& frame);
std::string EncodeVideoEnd(uint16_t sequence);
/// The number of a frame that Encode made.
uint16_t SequenceOf(const std::string& frame);
/// False for anything that is too long or whose content is no access unit. `frame` points into the data.
bool Decode(const char* data, size_t length, VideoFrame& frame);

}  // namespace lumo
