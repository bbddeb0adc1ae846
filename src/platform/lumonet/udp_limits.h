// The numbers of the UDP side, each with its reason.
#pragma once

#include <cstddef>
#include <cstdint>

namespace udp {

/// The longest payload that fits an IPv4 datagram.
inline constexpr uint32_t kMaxDatagram = 65507;
/// Receive buffer of one message: whatever the kernel hands over at once fits.
inline constexpr size_t kReceiveBuffer = 65536;
/// Messages taken by one receive call.
inline constexpr unsigned kReceiveMessages = 16;
/// With receive offload a call mostly finds one message, and looking for a second costs more than it brings: so many
/// calls ask for one alone before the next looks further.
inline constexpr unsigned kSingleCalls = 16;
/// The receive thread rests no longer than this, whatever is asked: others wait for it.
inline constexpr unsigned kLongestRestUs = 1000;
/// Asked of the kernel for each direction: bursts of many links at once must not overrun it.
inline constexpr int kSocketBuffer = 4 * 1024 * 1024;

/// Collected by one thread before it sends without being told to.
inline constexpr size_t kArenaBytes = 256 * 1024;
inline constexpr size_t kArenaRuns = 256;
/// What the kernel cuts at most out of one message.
inline constexpr uint32_t kMaxSegments = 64;
inline constexpr uint32_t kMaxRunBytes = 65000;
/// Endpoints for which one thread may have batches open at a time; more send at once.
inline constexpr size_t kArenasPerThread = 8;
/// Messages handed to the kernel by one call.
inline constexpr size_t kSendMessages = 256;
/// After the kernel has refused to cut a message that it takes in pieces, this many flushes do without.
inline constexpr int kPlainFlushes = 1024;

/// Ports tried for one whose TCP twin is free.
inline constexpr int kPortTries = 128;

}  // namespace udp
