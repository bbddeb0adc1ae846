#include "tools/lumo/dump/packet.h"

#include "platform/lumonet/lumonet.h"
#include "tools/lumo/transfer/byte_codec.h"

#include <pcap/dlt.h>

#include <algorithm>

namespace lumo {
namespace {

constexpr uint16_t kEtherIPv4 = 0x0800;
constexpr uint16_t kEtherVlan = 0x8100;
constexpr uint16_t kEtherQinQ = 0x88A8;
constexpr int kMaxTags = 2;
constexpr uint8_t kProtocolTcp = 6;
constexpr uint8_t kProtocolUdp = 17;

CByteReader ReaderOf(const uint8_t* data, size_t length) { return {reinterpret_cast<const char*>(data), length}; }

/// Takes the link header off; false when IPv4 does not follow.
bool SkipLink(int linkType, CByteReader& reader) {
    uint16_t protocol = 0;
    switch (linkType) {
        case DLT_EN10MB:
            reader.Bytes(12);
            protocol = reader.U16();
            for (int tags = 0; tags < kMaxTags && (protocol == kEtherVlan || protocol == kEtherQinQ); ++tags) {
                reader.U16();
                protocol = reader.U16();
            }
            return protocol == kEtherIPv4;
        case DLT_LINUX_SLL:
            reader.Bytes(14);
            return reader.U16() == kEtherIPv4;
        case DLT_LINUX_SLL2:
            protocol = reader.U16();
            reader.Bytes(18);
            return protocol == kEtherIPv4;
        case DLT_NULL:
        case DLT_LOOP: {  // the family in the byte order of either kind of machine
            const uint32_t family = reader.U32();
            return family == 2 || family == 0x02000000;
        }
        case DLT_RAW:
        case DLT_IPV4:
            return true;
        default:
            return false;
    }
}

Parsed ParseUdp(CByteReader reader, CapturedPacket& packet) {
    packet.from.port = reader.U16();
    packet.to.port = reader.U16();
    const size_t length = reader.U16();
    reader.U16();  // checksum
    if (!reader.Ok() || (length != 0 && length < 8)) return Parsed::Broken;
    packet.transport = Transport::Udp;
    // 0 stands for more than 16 bits hold: a run of datagrams that the kernel has not cut yet.
    packet.fullLength = length == 0 ? packet.fullLength - 8 : length - 8;
    packet.length = std::min(reader.Left(), packet.fullLength);
    packet.payload = reinterpret_cast<const uint8_t*>(reader.Bytes(packet.length));
    return Parsed::Packet;
}

Parsed ParseTcp(CByteReader reader, CapturedPacket& packet) {
    packet.from.port = reader.U16();
    packet.to.port = reader.U16();
    packet.tcpSequence = reader.U32();
    reader.U32();  // acknowledgement
    const size_t headerLength = size_t{4} * (reader.U8() >> 4);
    const uint8_t flags = reader.U8();
    reader.Bytes(6);  // window, checksum, urgent pointer
    if (headerLength < 20 || headerLength > packet.fullLength) return Parsed::Broken;
    reader.Bytes(headerLength - 20);
    if (!reader.Ok()) return Parsed::Broken;
    packet.transport = Transport::Tcp;
    packet.tcpSyn = (flags & 0x02) != 0;
    packet.tcpEnd = (flags & 0x05) != 0;
    packet.fullLength -= headerLength;
    packet.length = std::min(reader.Left(), packet.fullLength);
    packet.payload = reinterpret_cast<const uint8_t*>(reader.Bytes(packet.length));
    return Parsed::Packet;
}

}  // namespace

std::string Endpoint::Text() const { return GetIpAddr(ip) + ":" + std::to_string(port); }

bool KnowsLinkType(int linkType) {
    static constexpr int kKnown[] = {DLT_EN10MB, DLT_LINUX_SLL, DLT_LINUX_SLL2, DLT_NULL, DLT_LOOP, DLT_RAW, DLT_IPV4};
    return std::find(std::begin(kKnown), std::end(kKnown), linkType) != std::end(kKnown);
}

Parsed ParsePacket(int linkType, const uint8_t* frame, size_t length, CapturedPacket& packet) {
    packet = CapturedPacket{};
    CByteReader reader = ReaderOf(frame, length);
    if (!SkipLink(linkType, reader)) return Parsed::Other;
    const size_t ipLeft = reader.Left();
    const uint8_t versionAndLength = reader.U8();
    const size_t headerLength = size_t{4} * (versionAndLength & 15);
    reader.U8();  // service
    const size_t totalLength = reader.U16();
    reader.U16();  // identification
    const uint16_t fragment = reader.U16();
    reader.U8();  // time to live
    const uint8_t protocol = reader.U8();
    reader.U16();  // checksum
    packet.from.ip = reader.U32();
    packet.to.ip = reader.U32();
    if (!reader.Ok()) return Parsed::Broken;
    if (versionAndLength >> 4 != 4) return Parsed::Other;
    // A total length of 0 is one that the kernel has left to the hardware.
    const size_t ipLength = totalLength == 0 ? ipLeft : totalLength;
    if (headerLength < 20 || ipLength < headerLength) return Parsed::Broken;
    reader.Bytes(headerLength - 20);
    if (!reader.Ok()) return Parsed::Broken;
    if (protocol != kProtocolTcp && protocol != kProtocolUdp) return Parsed::Other;
    if ((fragment & 0x3FFF) != 0) return Parsed::Fragment;
    packet.fullLength = ipLength - headerLength;
    if (packet.fullLength < 8) return Parsed::Broken;
    const size_t captured = std::min(reader.Left(), packet.fullLength);  // Ethernet pads short packets
    CByteReader body(reader.Bytes(captured), captured);
    return protocol == kProtocolUdp ? ParseUdp(body, packet) : ParseTcp(body, packet);
}

}  // namespace lumo
