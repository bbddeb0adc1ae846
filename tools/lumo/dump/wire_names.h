// What the things on the wire are called: in the dump, and in the dissector that is made from the same tables.
#pragma once

#include "core/wire/commands.h"

#include <cstdint>

namespace lumo {

/// "receiver", "sink" ...; empty for Field::None.
const char* FieldName(wire::Field field);
/// Whether the field is an IPv4 address.
bool IsAddress(wire::Field field);

/// Who opens a TCP connection with that type: "file sender"; null for a type that nobody has.
const char* ServiceName(uint32_t type);

/// "WB_CMD_OBJECT_OFFER" ..., and what the boards of `lumo` say besides; null for commands of other applications.
const char* BoardCommandName(uint32_t command);

}  // namespace lumo
