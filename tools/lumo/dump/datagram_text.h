// Datagrams and messages in words.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace lumo {

/// One datagram, its kind byte first, e.g. "UDP_FILE_SINK_KEEP_ALIVE sink 17". Empty when no row of the command table
/// and no other datagram of the system has this form.
std::string DescribeDatagram(const uint8_t* data, size_t length);

/// The lengths of the datagrams in what a capture shows as one: sends that the kernel cuts into datagrams of equal size
/// only after they have been captured.
std::vector<size_t> SplitRun(const uint8_t* data, size_t length);

/// A TCP validation message's type and payload.
std::string DescribeValidation(uint32_t type, const uint8_t* payload, size_t length);

/// A frame on TCP: its length, who sealed it, and its content when it is of the file transfer. `service` is the type of
/// the connection's validation message, if that was captured.
std::string DescribeFrame(const uint8_t* data, size_t length, std::optional<uint32_t> service = std::nullopt);

}  // namespace lumo
