// Addresses between host order and the socket interface.
#pragma once

#include <arpa/inet.h>
#include <netinet/in.h>

#include <cstdint>

inline sockaddr_in ToSocketAddress(uint32_t ip, uint16_t port) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(ip);
    address.sin_port = htons(port);
    return address;
}
