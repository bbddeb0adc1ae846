// Bounds that hostile input meets, each with its reason.
#pragma once

#include "core/session_constants.h"

#include <cstddef>
#include <cstdint>

namespace limits {

inline constexpr int kMaxFrameLen = session::kMaxFrameLen;  // a channel refuses larger frames, as the session does
inline constexpr uint64_t kMaxQueueBytes = 256ULL * 1024 * 1024;  // a subscriber that far behind counts as gone
inline constexpr uint64_t kFrameCost = 64;                        // bytes that even an empty frame occupies in a queue
inline constexpr int kMaxPlainDatagram = 1076;  // of a medium without sessions: what fits the path in one piece
inline constexpr uint64_t kSinkMemory = 1024ULL * 1024 * 1024;  // shared by all sinks of one medium of a local MCU
inline constexpr size_t kMaxSinks = 10000;                      // sinks of one medium; further connects get no answer
inline constexpr size_t kMaxUnvalidated = 1024;                 // unvalidated strangers, and as many introduced peers
inline constexpr size_t kUnvalidatedPerAddress = 64;
inline constexpr uint64_t kUnvalidatedQueueBytes = 2ULL * 1024 * 1024;  // what waits for one until it is validated
inline constexpr uint32_t kUnvalidatedAudioMs = 1000;                   // and how long one hears audio
inline constexpr size_t kMaxPeers = 10000;                              // users whose addresses are kept
inline constexpr int kMinFrameLen = 2;                                  // shorter frames are keep-alives of TCP links
inline constexpr uint32_t kMaxBufferingReport = 8192;                   // what a channel reports at most

/// What a queue occupies; the limits are of this.
constexpr uint64_t QueueCost(uint64_t bytes, uint64_t frames) { return bytes + kFrameCost * frames; }

}  // namespace limits
