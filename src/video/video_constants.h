// The video medium's own numbers.
#pragma once

#include <cstdint>

namespace video {

inline constexpr int kMinFrame = 4;                   // shorter frames, without a byte behind their head, go nowhere
inline constexpr int kMaxBacklog = 10;                // more frames than this give way to a key frame
inline constexpr char kSessionKeyFrameWanted = 0x00;  // a request for a key frame, over UDP
inline constexpr uint32_t kPatienceMs = 10000;        // for a key frame, once a sink is over its limit

/// Whether a frame is one that stands alone; its first byte says so.
inline bool IsKeyFrame(const char* frame) { return frame[0] != 0; }
/// Whether a frame of the far side's session asks for one.
inline bool AsksForKeyFrame(const char* frame, int length) { return length == 1 && frame[0] == kSessionKeyFrameWanted; }

}  // namespace video
