#include "bench/harness/sockets.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <netinet/udp.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <system_error>

#ifndef UDP_GRO
#define UDP_GRO 104
#endif

namespace bench {

namespace {

void Check(bool good, const char* what) {
    if (!good) throw std::system_error(errno, std::generic_category(), what);
}

}  // namespace

Hosts& RunHosts() {
    static Hosts hosts;
    return hosts;
}

sockaddr_in SocketAddress(uint32_t host, uint16_t port) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(host);
    address.sin_port = htons(port);
    return address;
}

CSocket::CSocket(int type) : m_fd(socket(AF_INET, type | SOCK_CLOEXEC, 0)) { Check(Fd() >= 0, "socket"); }

uint16_t CSocket::Bind(uint16_t port) {
    sockaddr_in address = SocketAddress(RunHosts().own, port);
    socklen_t length = sizeof address;
    Check(bind(Fd(), reinterpret_cast<sockaddr*>(&address), length) == 0, "bind");
    Check(getsockname(Fd(), reinterpret_cast<sockaddr*>(&address), &length) == 0, "getsockname");
    return ntohs(address.sin_port);
}

void CSocket::Connect(uint16_t port) {
    const sockaddr_in address = SocketAddress(RunHosts().far, port);
    Check(connect(Fd(), reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0, "connect");
}

void CSocket::Listen() { Check(listen(Fd(), 1) == 0, "listen"); }

CSocket CSocket::Accept() {
    CSocket accepted(CFileDescriptor(accept4(Fd(), nullptr, nullptr, SOCK_CLOEXEC)));
    Check(accepted.Fd() >= 0, "accept");
    return accepted;
}

void CSocket::Set(int level, int option, int value) {
    Check(setsockopt(Fd(), level, option, &value, sizeof value) == 0, "setsockopt");
}

void CSocket::RaiseBuffers() {
    Set(SOL_SOCKET, SO_RCVBUF, kBufferBytes);
    Set(SOL_SOCKET, SO_SNDBUF, kBufferBytes);
}

void CSocket::CoalesceReceived() { Set(SOL_UDP, UDP_GRO, 1); }

void CSocket::SendAll(const void* data, size_t length) {
    const char* cursor = static_cast<const char*>(data);
    while (length > 0) {
        const ssize_t sent = send(Fd(), cursor, length, MSG_NOSIGNAL);
        if (sent < 0 && errno == EINTR) continue;
        Check(sent > 0, "send");
        cursor += sent;
        length -= static_cast<size_t>(sent);
    }
}

bool CSocket::ReceiveAll(void* data, size_t length) {
    char* cursor = static_cast<char*>(data);
    while (length > 0) {
        const ssize_t got = recv(Fd(), cursor, length, 0);
        if (got < 0 && errno == EINTR) continue;
        Check(got >= 0, "recv");
        if (got == 0) return false;
        cursor += got;
        length -= static_cast<size_t>(got);
    }
    return true;
}

size_t ReceiveRun(int fd, char* buffer, size_t room, size_t& segment) {
    alignas(cmsghdr) std::array<char, CMSG_SPACE(sizeof(int))> control{};
    iovec part{buffer, room};
    msghdr message{};
    message.msg_iov = &part;
    message.msg_iovlen = 1;
    message.msg_control = control.data();
    message.msg_controllen = control.size();
    const ssize_t got = recvmsg(fd, &message, MSG_DONTWAIT);
    if (got <= 0) return 0;
    segment = static_cast<size_t>(got);
    for (cmsghdr* note = CMSG_FIRSTHDR(&message); note; note = CMSG_NXTHDR(&message, note)) {
        if (note->cmsg_level != SOL_UDP || note->cmsg_type != UDP_GRO) continue;
        int size = 0;
        std::memcpy(&size, CMSG_DATA(note), sizeof size);
        segment = static_cast<size_t>(size);
    }
    return static_cast<size_t>(got);
}

}  // namespace bench
