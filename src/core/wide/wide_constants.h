// Numbers of the wide session.
#pragma once

#include "core/session_constants.h"

#include <cstdint>

namespace wide {

// Protocol.
inline constexpr uint8_t kVersion = 1;
inline constexpr uint32_t kMaxInFlight = 16384;  // packets, and how far beyond the last delivered one a number may lie
inline constexpr int kMaxRanges = 32;            // of an acknowledgement
inline constexpr uint32_t kPacketsPerAck = 2;    // while they come in order
inline constexpr uint64_t kMostAckDelayUs = 5000;
inline constexpr uint32_t kNoTransmission = 0xFFFFFF;  // a packet in the given form says no transmission

// Implementation.
inline constexpr uint32_t kUnbudgetedRoom = 32;  // packets that a receiver holds whatever its process holds
inline constexpr uint64_t kUsPerSecond = 1000000;
inline constexpr uint64_t kGiveBackAfterUs = 10000000;  // a gap this old gives back what is held behind it
inline constexpr uint64_t kMostProbeDelayUs = 1000000;  // between two probes of a silent path, or of one without room
inline constexpr int kDatagramOverhead = 38;            // IP, UDP and envelope: what the path carries beside a packet

}  // namespace wide
