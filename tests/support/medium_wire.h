// Datagrams of any medium, made from its row of the table of media. What the table itself says is compared with the
// bytes of the wire in tests/unit/link/media_test.cpp.
#pragma once

#include "link/media.h"
#include "support/session_wire.h"

#include <initializer_list>
#include <string>

/// Kind and command, the fields, and what follows them.
inline std::string Datagram(const CMediumRow& row, uint8_t command, std::initializer_list<uint32_t> fields,
                            const std::string& rest = "") {
    std::string datagram{static_cast<char>(row.kind), static_cast<char>(command)};
    for (const uint32_t field : fields) datagram += session_wire::U32(field);
    return datagram + rest;
}
/// A message of TCP that asks for a service, or answers who asks.
inline std::string Validation(wire::TcpType type, const std::string& payload) {
    return session_wire::U32(static_cast<uint32_t>(type)) + session_wire::U32(static_cast<uint32_t>(payload.size())) +
           payload;
}
