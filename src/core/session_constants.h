// Numbers of the reliable session. The first group is what the far side relies on; the second is this side's own.
#pragma once

#include <cstddef>
#include <cstdint>

namespace session {

// Protocol.
inline constexpr int kHeaderLen = 12;            // bytes before the payload of every packet
inline constexpr uint32_t kPayloadLen = 1040;    // most frame bytes of a data packet
inline constexpr uint32_t kInitialWindow = 160;  // packets in flight before the first acknowledgement
inline constexpr uint32_t kMinWindow = 16;       // an acknowledged window is clamped to these two
inline constexpr uint32_t kMaxWindow = 160;
inline constexpr int kMaxSendsPerPass = 4;
inline constexpr uint32_t kFirstResendTimeout = 100;  // ms; doubled by each transmission
inline constexpr uint32_t kMaxResendTimeout = 1000;   // ms
inline constexpr unsigned char SCTP_CMD_DATA = 0;
inline constexpr unsigned char SCTP_CMD_ACK = 1;

// Implementation.
inline constexpr uint32_t kMaxPayloadLen = 65000;  // a larger packet fits no datagram with its envelope
inline constexpr int kEnvelopeRoom = 16;           // writable bytes before every packet handed to SendSCTPData
inline constexpr int kReassemblyCapacity = 65535;
inline constexpr int kReassemblySpare = 64;
inline constexpr int kMaxFrameLen = 64 * 1024 * 1024;  // a larger frame is refused, and not collected
inline constexpr uint32_t kMaxHeldPackets = 1024;      // out of order; an honest sender has at most 160 in flight
inline constexpr size_t kMaxHeldBytes = kMaxHeldPackets * (kHeaderLen + kPayloadLen);  // the same, when they are long

static_assert(kMaxHeldPackets >= kMaxWindow, "an honest sender's window must fit");

}  // namespace session
