// The few socket calls of the demo's helper processes.
#pragma once

#include "platform/lumonet/file_descriptor.h"
#include "tools/lumo/dump/packet.h"

#include <cstddef>
#include <string>

namespace lumo {

/// A non-blocking socket bound to `local`; port 0 is a free one.
CFileDescriptor OpenSocket(int type, const Endpoint& local, std::string& problem);
Endpoint LocalEndpoint(int fd);
void EnlargeBuffers(int fd);
void SendDatagram(int fd, const Endpoint& to, const char* data, size_t length);
/// As recvfrom.
ssize_t ReceiveDatagram(int fd, Endpoint& from, char* buffer, size_t capacity);

/// "ADDR" or "ADDR:PORT" in digits.
bool ParseEndpoint(const std::string& text, Endpoint& endpoint);

}  // namespace lumo
