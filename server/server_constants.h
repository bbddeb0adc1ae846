// The server's own numbers, each with its reason.
#pragma once

#include "link/lock_order.h"

#include <cstddef>
#include <cstdint>

namespace server {

// Publishers.
inline constexpr uint32_t kKeepAliveEveryMs = 2000;
inline constexpr uint32_t kFirstKeepAliveMs = 1000;  // until then who has the channel knows no more than who lost it
inline constexpr unsigned kAskTimes = 3;  // a publisher whose place another one wants, before it counts as gone
inline constexpr uint32_t kAskEveryMs = 1000;
// A challenger that lost, on the same port: time enough for a sender that waits for 12.5 s before it asks anew.
inline constexpr uint32_t kLoserHearsNothingMs = 20000;
inline constexpr size_t kMaxLosers = 256;
inline constexpr uint8_t kSourceWindow = 31;            // the most that five bits can advertise
inline constexpr uint32_t kChannelGoneAfterMs = 60000;  // without a publisher and subscribers
inline constexpr uint32_t kBoardGoneAfterMs = 600000;   // a whiteboard without sessions, for users that come back

// Unvalidated clients, which have not shown yet that they receive the answers.
inline constexpr size_t kMaxUnvalidated = 2048;  // of each sort, so that spoofed requests cost no memory
// Small records: as many as come in two seconds at most (CRequests), so that a claim outlives a long round trip.
inline constexpr size_t kMaxClaims = 16384;
inline constexpr uint64_t kHeldQueueBytes = 128ULL << 10;  // what waits for each of them

inline constexpr uint32_t kRequestPendingMs = 30000;  // of subscribers that ask only once

// Relaying.
inline constexpr size_t kMaxPendingLegs = 100;
inline constexpr size_t kMaxPendingUdpLegs = 75;  // of these; whoever asks over UDP may not be there
inline constexpr size_t kPendingLegsPerAsker = 3;
inline constexpr size_t kMaxWaitingPerLeg = 64;
inline constexpr uint32_t kLegTriedForMs = 10000;
inline constexpr size_t kLegAsks = 3;  // datagrams to a server that has never answered and may be any host
inline constexpr uint32_t kTcpWaitsForLegMs = 5000;
inline constexpr uint32_t kLegLingersMs = 10000;  // after the last subscriber left
inline constexpr uint32_t kLegDoubtfulAfterMs =
    3000;  // silence after which the leg must answer before it serves a new subscriber
inline constexpr uint32_t kLegAnswersWithinMs = 2000;

inline constexpr uint32_t kDrainMs = 5000;  // for TCP queues, when the server ends

/// Which channels there are, who publishes them and what is relayed changes only under it. No callback of a source,
/// sink or leg takes it.
inline constexpr int kGateRank = 50;
static_assert(kGateRank < lock_order::kConnectGate, "the gate is taken before the library's locks");

}  // namespace server
