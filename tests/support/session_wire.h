// Session packets as bytes, made and read without the library's own session.
#pragma once

#include "support/fake_net.h"

#include <cstdint>
#include <string>

namespace session_wire {

inline std::string Packet(uint16_t sequence, uint8_t flagAndCommand, uint8_t windowAndMarks,
                          const std::string& payload) {
    std::string packet(12, '\0');
    packet[0] = static_cast<char>(sequence >> 8);
    packet[1] = static_cast<char>(sequence & 0xff);
    packet[2] = static_cast<char>(flagAndCommand);
    packet[3] = static_cast<char>(windowAndMarks);
    return packet + payload;
}
/// A whole frame of at most 1040 bytes.
inline std::string Data(uint16_t sequence, const std::string& frame) { return Packet(sequence, 0, 0x06, frame); }
/// Everything up to `sequence` has been delivered.
inline std::string Ack(uint16_t sequence) { return Packet(sequence, 0x21, 0, ""); }

inline uint16_t Sequence(const std::string& packet) {
    return static_cast<uint16_t>((static_cast<uint8_t>(packet[0]) << 8) | static_cast<uint8_t>(packet[1]));
}
inline bool IsData(const std::string& packet) { return packet.size() > 12 && (packet[2] & 0x1f) == 0; }
inline std::string Payload(const std::string& packet) { return packet.substr(12); }

inline std::string U32(uint32_t value) {
    std::string bytes;
    for (int shift = 24; shift >= 0; shift -= 8) bytes += static_cast<char>((value >> shift) & 0xff);
    return bytes;
}
inline uint32_t ReadU32(const std::string& bytes, size_t offset) {
    uint32_t value = 0;
    for (size_t i = 0; i < 4; ++i) value = (value << 8) | static_cast<uint8_t>(bytes.at(offset + i));
    return value;
}

}  // namespace session_wire
