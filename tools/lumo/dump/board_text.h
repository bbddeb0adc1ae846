// Whiteboard messages in words.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

namespace lumo {

/// E.g. ", WB_CMD_OBJECT_DATA object 5 tag 1"; the message's first bytes are enough, and empty for fewer.
std::string DescribeBoardMessage(const uint8_t* data, size_t length);

}  // namespace lumo
