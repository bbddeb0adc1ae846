#include "platform/lumonet/udp_socket.h"

#include "platform/lumonet/socket_address.h"
#include "platform/lumonet/udp_limits.h"

#include <sys/socket.h>

#include <utility>
#include <vector>

namespace {

// What the kernel gives is enough, however little it is.
void EnlargeBuffers(int fd) {
    const int size = udp::kSocketBuffer;
#if defined(SO_RCVBUFFORCE)
    const bool received = setsockopt(fd, SOL_SOCKET, SO_RCVBUFFORCE, &size, sizeof size) == 0;
    const bool sent = setsockopt(fd, SOL_SOCKET, SO_SNDBUFFORCE, &size, sizeof size) == 0;
#else
    const bool received = false;
    const bool sent = false;
#endif
    if (!received) setsockopt(fd, SOL_SOCKET, SO_RCVBUF, &size, sizeof size);
    if (!sent) setsockopt(fd, SOL_SOCKET, SO_SNDBUF, &size, sizeof size);
}

/// Binds without SO_REUSEADDR: a second endpoint on a port in use must fail.
bool Bind(uint32_t localIP, uint16_t port, CUdpSocket& socket) {
    socket.fd = OpenSocket(SOCK_DGRAM);
    if (!socket.fd) return false;
    sockaddr_in address = ToSocketAddress(localIP, port);
    auto* const generic = reinterpret_cast<sockaddr*>(&address);
    if (::bind(socket.fd.Get(), generic, sizeof address) != 0) return false;
    socklen_t length = sizeof address;
    if (::getsockname(socket.fd.Get(), generic, &length) != 0) return false;
    socket.port = ntohs(address.sin_port);
    return true;
}

bool BindWithTwin(uint32_t localIP, CUdpSocket& socket) {
    std::vector<CFileDescriptor> unfit;  // kept open meanwhile, so that the kernel picks another port
    for (int i = 0; i < udp::kPortTries; ++i) {
        if (!Bind(localIP, 0, socket)) return false;
        if (socket.twin.Reserve(localIP, socket.port)) return true;
        unfit.push_back(std::move(socket.fd));
    }
    return false;
}

}  // namespace

bool OpenUdpSocket(const UdpOptions& options, CUdpSocket& socket) {
    const bool bound =
        options.port == 0 ? BindWithTwin(options.localIP, socket) : Bind(options.localIP, options.port, socket);
    if (bound) EnlargeBuffers(socket.fd.Get());
    return bound;
}
