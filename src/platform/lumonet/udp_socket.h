// Opens the socket of a UDP endpoint.
#pragma once

#include "platform/lumonet/file_descriptor.h"
#include "platform/lumonet/lumonet.h"
#include "platform/lumonet/port_twin.h"

struct CUdpSocket {
    CFileDescriptor fd;  // blocking
    uint16_t port = 0;
    CPortTwin twin;  // set when the port was ours to pick
};

/// False when the port is taken, or no port with a free twin was found.
bool OpenUdpSocket(const UdpOptions& options, CUdpSocket& socket);
