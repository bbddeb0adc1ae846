// From what a capture holds to the payload of UDP and TCP.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

namespace lumo {

struct Endpoint {
    uint32_t ip = 0;  ///< host byte order
    uint16_t port = 0;

    std::string Text() const;
    bool operator<(const Endpoint& other) const { return ip != other.ip ? ip < other.ip : port < other.port; }
};

enum class Transport { None, Udp, Tcp };

struct CapturedPacket {
    Transport transport = Transport::None;
    Endpoint from, to;
    const uint8_t* payload = nullptr;
    size_t length = 0;      ///< bytes of the payload that were captured
    size_t fullLength = 0;  ///< bytes it had
    uint32_t tcpSequence = 0;
    bool tcpSyn = false;
    bool tcpEnd = false;  ///< FIN or RST
};

/// What became of a captured frame.
enum class Parsed { Packet, Other, Fragment, Broken };

/// `linkType` is libpcap's. Reads IPv4 in Ethernet, Linux cooked (both), raw and loopback frames; nothing past
/// `length`.
Parsed ParsePacket(int linkType, const uint8_t* frame, size_t length, CapturedPacket& packet);

/// Whether ParsePacket knows the link type.
bool KnowsLinkType(int linkType);

}  // namespace lumo
