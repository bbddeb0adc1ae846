// The audio medium's own numbers.
#pragma once

#include "link/bounds/limits.h"

namespace audio {

inline constexpr int kMinDatagramFrame = 3;                              // shorter frames do not go over UDP
inline constexpr int kMaxFrame = limits::kMaxPlainDatagram - 2 - 4 - 4;  // behind the longest head, a sink's
inline constexpr uint32_t kMaxWaitMs = 1000;  // over TCP: what waits longer for the network is dropped

}  // namespace audio
