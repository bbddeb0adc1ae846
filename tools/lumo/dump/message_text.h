// The file transfer's messages in words.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

namespace lumo {

/// E.g. " [transfer 7: block 12, serial 13, 65536 bytes]"; empty for anything else than a message of the file transfer.
std::string DescribeMessage(const uint8_t* data, size_t length);

}  // namespace lumo
