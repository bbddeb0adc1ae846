#include "tools/lumo/demo/sockets.h"

#include "server/server_options.h"
#include "tools/lumo/transfer/error_text.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include <cerrno>

namespace lumo {
namespace {

sockaddr_in ToSockaddr(const Endpoint& endpoint) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(endpoint.ip);
    address.sin_port = htons(endpoint.port);
    return address;
}

Endpoint FromSockaddr(const sockaddr_in& address) { return {ntohl(address.sin_addr.s_addr), ntohs(address.sin_port)}; }

}  // namespace

CFileDescriptor OpenSocket(int type, const Endpoint& local, std::string& problem) {
    CFileDescriptor fd(socket(AF_INET, type | SOCK_NONBLOCK | SOCK_CLOEXEC, 0));
    const int on = 1;
    const sockaddr_in address = ToSockaddr(local);
    if (fd && type == SOCK_STREAM) setsockopt(fd.Get(), SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
    if (fd && bind(fd.Get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0) return fd;
    problem = "cannot open " + local.Text() + ": " + ErrorText(errno);
    return CFileDescriptor();
}

Endpoint LocalEndpoint(int fd) {
    sockaddr_in address{};
    socklen_t length = sizeof address;
    if (getsockname(fd, reinterpret_cast<sockaddr*>(&address), &length) != 0) return {};
    return FromSockaddr(address);
}

void EnlargeBuffers(int fd) {
    const int size = 4 * 1024 * 1024;  // what the kernel does not grant is no error
    setsockopt(fd, SOL_SOCKET, SO_RCVBUF, &size, sizeof size);
    setsockopt(fd, SOL_SOCKET, SO_SNDBUF, &size, sizeof size);
}

void SendDatagram(int fd, const Endpoint& to, const char* data, size_t length) {
    const sockaddr_in address = ToSockaddr(to);
    (void)sendto(fd, data, length, MSG_DONTWAIT, reinterpret_cast<const sockaddr*>(&address), sizeof address);
}

ssize_t ReceiveDatagram(int fd, Endpoint& from, char* buffer, size_t capacity) {
    sockaddr_in address{};
    socklen_t length = sizeof address;
    const ssize_t got = recvfrom(fd, buffer, capacity, MSG_DONTWAIT, reinterpret_cast<sockaddr*>(&address), &length);
    from = FromSockaddr(address);
    return got;
}

bool ParseEndpoint(const std::string& text, Endpoint& endpoint) {
    endpoint = {};
    return text.rfind(':', 0) != 0 && ::ParseEndpoint(text, endpoint.ip, endpoint.port);
}

}  // namespace lumo
