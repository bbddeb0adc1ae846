// The numbers of the file protocol, each with its reason.
#pragma once

#include <cstdint>

namespace lumo {

// What both sides must agree on.

/// Bytes of a block; only the last one of a file is shorter.
inline constexpr uint32_t kBlockSize = 64 * 1024;
inline constexpr uint64_t kMaxFileSize = uint64_t{1} << 44;  // 16 TiB
/// Blocks of all files of one transfer: a receiver's bitmap stays under 32 MiB.
inline constexpr uint32_t kMaxBlocks = 1U << 28;
inline constexpr uint32_t kMaxFiles = 1000;
/// The same where folders come: their files, links and the folders themselves.
inline constexpr uint32_t kMaxEntries = 50000;
inline constexpr uint32_t kMaxPathLength = 4095;  // what a system call takes
inline constexpr uint32_t kMaxPathDepth = 100;    // elements: each is a step of a walk
/// Of all paths of a transfer together, which a receiver remembers.
inline constexpr uint64_t kMaxPathBytes = 16 * 1024 * 1024;
inline constexpr uint32_t kMaxTextLength = 64 * 1024;  // what somebody reads on a terminal
inline constexpr uint32_t kMaxNameLength = 255;        // what file systems take
/// Ranges that one request names; a receiver that lacks more asks again once these have come.
inline constexpr uint32_t kMaxRanges = 512;
inline constexpr int kMaxUpstreamFrame = 16 * 1024;  // far below what servers take from a subscriber
inline constexpr int kMaxDownstreamFrame = static_cast<int>(kBlockSize) + 64;
static_assert(kMaxTextLength <= kBlockSize, "a text is one block");
static_assert(kMaxFileSize / kBlockSize <= kMaxBlocks, "one file of the largest size must fit a transfer");

// What each side decides for itself.

/// How far the sender runs ahead of the slowest receiver, and at most where its path holds more: a relay drops a
/// subscriber long after that.
inline constexpr uint32_t kLeadBlocks = 8 * 1024 * 1024 / kBlockSize;
inline constexpr uint32_t kMostLeadBlocks = 3 * kLeadBlocks;
/// Files that a receiver writes at once; each costs three descriptors.
inline constexpr uint32_t kMaxOpenFiles = 128;
inline constexpr uint32_t kMaxReceivers = 1000;
inline constexpr uint64_t kHeartbeatMs = 1000;
/// A receiver that said nothing for so long holds nobody back; ten heartbeats.
inline constexpr uint64_t kReceiverSilentMs = 10000;
/// The same for one that says it is there and takes nothing.
inline constexpr uint64_t kReceiverStuckMs = 30000;
/// Who hears what it cannot open says more, so that the other side finds out too: so soon, and for so long.
inline constexpr uint64_t kStrangerBeaconMs = 400;
inline constexpr uint64_t kStrangerReportMs = 300;
inline constexpr uint64_t kStrangerGoneMs = 2000;
/// A receiver reports at the latest after so many blocks: eight reports per lead, so that the lead never runs dry.
inline constexpr uint32_t kReportBlocks = kLeadBlocks / 8;
/// Reports that only tell of a gap come no closer together than this.
inline constexpr uint64_t kReportGapMs = 50;
/// The sender repeats offers to a receiver that lacks them no faster than this.
inline constexpr uint64_t kOfferGapMs = 500;
inline constexpr uint32_t kOffersPerTurn = 32;
/// How long a receiver that is done waits to hear that the sender knows it.
inline constexpr uint64_t kConfirmWaitMs = 5000;
/// A sender whose blocks arrive damaged more often than this is given up.
inline constexpr uint32_t kMaxDamagedBlocks = 100;
/// Frames kept waiting in the library at most; fewer on slow paths, so that heartbeats do not wait behind them.
inline constexpr uint32_t kMaxQueuedFrames = 32;
inline constexpr uint32_t kMinQueuedFrames = 3;
/// Bytes hashed or verified per turn of the loop: a few milliseconds.
inline constexpr uint32_t kHashStep = 2 * 1024 * 1024;

}  // namespace lumo
