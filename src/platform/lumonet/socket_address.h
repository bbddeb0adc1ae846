// Addresses between host order and the socket interface, and sockets that no child process inherits.
#pragma once

#include "platform/lumonet/file_descriptor.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include <cstdint>

inline sockaddr_in ToSocketAddress(uint32_t ip, uint16_t port) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(ip);
    address.sin_port = htons(port);
    return address;
}

/// None when there is none to be had. A program that the application starts must not keep a connection or port alive.
inline CFileDescriptor OpenSocket(int type, int family = AF_INET, int protocol = 0) {
    return CFileDescriptor(::socket(family, type | SOCK_CLOEXEC, protocol));
}

inline CFileDescriptor Duplicate(int fd) { return CFileDescriptor(::fcntl(fd, F_DUPFD_CLOEXEC, 0)); }
