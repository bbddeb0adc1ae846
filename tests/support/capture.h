// Captures as bytes: IPv4 packets from port 40000 of 10.0.0.1 to port 7000 of 10.0.0.2, and the file that holds them.
#pragma once

#include "support/session_wire.h"

#include <string>
#include <vector>

namespace capture {

using session_wire::U32;

inline std::string U16(uint32_t value) { return U32(value).substr(2); }

inline std::string Ip(uint8_t protocol, const std::string& body, uint32_t fragment = 0) {
    return Hex("45 00") + U16(static_cast<uint32_t>(20 + body.size())) + Hex("1234") + U16(fragment) + Hex("40") +
           static_cast<char>(protocol) + Hex("0000 0A000001 0A000002") + body;
}
inline std::string Udp(const std::string& payload) {
    return Ip(17, U16(40000) + U16(7000) + U16(static_cast<uint32_t>(8 + payload.size())) + Hex("0000") + payload);
}
inline std::string Tcp(uint32_t sequence, uint8_t flags, const std::string& payload, uint32_t port = 40000) {
    return Ip(6, U16(port) + U16(7000) + U32(sequence) + U32(0) + Hex("60") + static_cast<char>(flags) +
                     Hex("FFFF 0000 0000") + Hex("01010100") + payload);
}

/// A message of ours over TCP.
inline std::string Wire(uint8_t kind, const std::string& body) {
    return U32(static_cast<uint32_t>(body.size())) + static_cast<char>(kind) + body;
}

/// What libpcap reads, a packet a second.
inline std::string File(const std::vector<std::string>& packets) {
    std::string bytes = Hex("A1B2C3D4 0002 0004 00000000 00000000 0000FFFF 00000065");
    uint32_t second = 0;
    for (const std::string& packet : packets) {
        const auto length = static_cast<uint32_t>(packet.size());
        bytes += U32(second++) + U32(0) + U32(length) + U32(length) + packet;
    }
    return bytes;
}

}  // namespace capture
