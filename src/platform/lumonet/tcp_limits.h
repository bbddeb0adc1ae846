// The numbers of the TCP side, each with its reason.
#pragma once

#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdint>

namespace net {

/// u32 body length, u8 kind.
inline constexpr uint32_t kHeaderLen = 5;
/// The longest body of a frame; a header that announces more closes the connection.
inline constexpr uint32_t kMaxBody = 64u * 1024 * 1024;
/// The longest body from a peer that has not validated: a validation message is some tens of bytes.
inline constexpr uint32_t kMaxUnvalidatedBody = 4096;
/// Type and payload length, before a validation message's payload.
inline constexpr uint32_t kValidationHeaderLen = 8;

/// Read from one connection in one turn, so that a flood on it does not starve the others.
inline constexpr size_t kReadTurn = 128 * 1024;
/// Written to one connection in one turn, in at most this many pieces.
inline constexpr size_t kWriteTurn = 256 * 1024;
inline constexpr size_t kWritePieces = 64;
/// The same where frames age: what the kernel holds can no longer be dropped. A few frames of speech.
inline constexpr size_t kAgingWriteTurn = 512;
/// What a connection keeps of a message that is not whole costs nothing up to here: not worth counting.
inline constexpr size_t kUnchargedBuffer = 4096;
/// What the kernel may hold, unsent, for a connection that is judged by what it takes: such memory is in no budget.
inline constexpr int kMaxUnsent = 512 * 1024;
/// Bytes kept of a session without a notify object before it is no longer read from.
inline constexpr size_t kMaxHeld = 256 * 1024;
/// Connections of one listener that have not validated; one more pushes out the oldest.
inline constexpr size_t kMaxUnvalidated = 1024;
/// Ended connections that wait for their far sides to close; past it they close at once.
inline constexpr size_t kMaxFarewells = 1024;
/// Connections accepted in one turn.
inline constexpr int kAcceptTurn = 32;
/// The pause after an accept for which the process had no descriptor or memory.
inline constexpr std::chrono::milliseconds kAcceptPause{100};
/// Bytes in flight that stay unacknowledged end a connection after this time.
inline constexpr int kUserTimeoutMs = 30'000;

/// A connection that takes nothing is looked at so often within the time that it has.
inline constexpr uint32_t kStallLooks = 5;

/// How long each step of a connection's opening and closing may take, in milliseconds. Tests shorten them.
struct Timeouts {
    std::atomic<int> dial{10'000};      ///< proxy included
    std::atomic<int> answer{10'000};    ///< from the connection to the validation answer
    std::atomic<int> validate{10'000};  ///< from the accepted connection to its validation message
    std::atomic<int> linger{5'000};     ///< from our end of a connection to the far side's
};
inline Timeouts g_timeouts;

}  // namespace net
