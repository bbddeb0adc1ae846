// The names and attributes of the peer-to-peer command packets, and the probes.
#pragma once

#include "core/wire/wire_io.h"
#include "lumomedia/p2p.h"

#include <cstdint>

namespace p2p {

inline constexpr char kType[] = "p2ptype";
inline constexpr char kStart[] = "P2P_START";
inline constexpr char kStartAck[] = "P2P_START_ACK";
inline constexpr char kCmd[] = "P2P_CMD";
inline constexpr char kCmdAck[] = "P2P_CMD_ACK";
inline constexpr char kFetch[] = "P2P_FETCH";
inline constexpr char kFetchAck[] = "P2P_FETCH_ACK";

inline constexpr int kPunches = 3;  // attempts to reach a peer
inline constexpr int kRepeats = 3;  // of every probe and every answer, against loss
inline constexpr int kProbeBody = 4;
inline constexpr int kReplyBody = 6;

void PutItem(CCmdPacket& cmd, const P2PItem& item);
P2PItem GetItem(const CCmdPacket& cmd);

/// A probe or its answer. The user ID is the one little-endian value of the wire.
wire::CWireWriter Probe(wire::Kind kind, uint32_t userID);
/// The user ID of a probe's body of kProbeBody bytes.
uint32_t ProbeUser(const char* body);

/// One host's address, with a port: not 0, multicast, reserved or broadcast.
bool IsHostAddress(uint32_t ip, uint16_t port);
inline bool IsLoopback(unsigned long ip) { return ip >> 24 == 127; }

}  // namespace p2p
