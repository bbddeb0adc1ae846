// Where the coordinates of a drawn object lie.
#pragma once

#include <cstdint>

namespace wb {

/// Adds (dx, dy) to every coordinate of a record that lies within its bytes; sums wrap. Records of unknown types, and
/// those too short for their rectangle, stay as they are.
void MoveRecord(char* record, int length, uint32_t dx, uint32_t dy);

}  // namespace wb
