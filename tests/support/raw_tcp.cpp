#include "support/raw_tcp.h"

#include "platform/lumonet/socket_address.h"
#include "support/eventually.h"
#include "support/session_wire.h"

#include <poll.h>

#include <algorithm>

namespace {

bool Ready(int fd, short events) {
    pollfd waiting{fd, events, 0};
    return poll(&waiting, 1, 1000 * static_cast<int>(kLongEnough.count())) > 0;
}

bool Call(int (*call)(int, const sockaddr*, socklen_t), int fd, uint32_t ip, uint16_t port) {
    const sockaddr_in address = ToSocketAddress(ip, port);
    return call(fd, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
}

}  // namespace

std::string Framed(int kind, const std::string& body) {
    return session_wire::U32(static_cast<uint32_t>(body.size())) + static_cast<char>(kind) + body;
}

CRawPeer CRawPeer::Dial(uint16_t port, const std::string& first, int receiveBuffer, uint32_t fromIP) {
    CRawPeer peer(OpenSocket(SOCK_STREAM).Take());
    if (receiveBuffer > 0) setsockopt(peer.Fd(), SOL_SOCKET, SO_RCVBUF, &receiveBuffer, sizeof receiveBuffer);
    if (fromIP != kLoopback && !Call(&bind, peer.Fd(), fromIP, 0)) return CRawPeer();
    if (!Call(&connect, peer.Fd(), kLoopback, port)) return CRawPeer();
    peer.Send(first);
    return peer;
}

bool CRawPeer::Send(const std::string& bytes) const {
    for (size_t sent = 0; sent < bytes.size();) {
        if (!Ready(Fd(), POLLOUT)) return false;
        const ssize_t length = send(Fd(), bytes.data() + sent, bytes.size() - sent, MSG_NOSIGNAL | MSG_DONTWAIT);
        if (length < 0) return false;
        sent += static_cast<size_t>(length);
    }
    return true;
}

size_t CRawPeer::SendSome(const std::string& bytes) const {
    const ssize_t length = send(Fd(), bytes.data(), bytes.size(), MSG_NOSIGNAL | MSG_DONTWAIT);
    return length < 0 ? 0 : static_cast<size_t>(length);
}

std::string CRawPeer::Read(size_t length) const {
    std::string bytes(length, '\0');
    size_t got = 0;
    while (got < length && Ready(Fd(), POLLIN)) {
        const ssize_t some = recv(Fd(), bytes.data() + got, length - got, 0);
        if (some <= 0) break;
        got += static_cast<size_t>(some);
    }
    return bytes.substr(0, got);
}

std::string CRawPeer::ReadUntil(const std::string& end) const {
    std::string bytes;
    for (std::string byte = Read(1); !byte.empty(); byte = Read(1)) {
        bytes += byte;
        if (bytes.size() >= end.size() && bytes.compare(bytes.size() - end.size(), end.size(), end) == 0) break;
    }
    return bytes;
}

std::string CRawPeer::ReadAll(bool* closed) const {
    std::string bytes;
    char some[65536];
    ssize_t length = 1;
    while (length > 0 && Ready(Fd(), POLLIN)) {
        length = recv(Fd(), some, sizeof some, 0);
        bytes.append(some, static_cast<size_t>(std::max<ssize_t>(length, 0)));
    }
    if (closed) *closed = length <= 0;
    return bytes;
}

bool CRawPeer::IsClosed() const {
    bool closed = false;
    ReadAll(&closed);
    return closed;
}

CRawListener::CRawListener(int backlog) : m_fd(OpenSocket(SOCK_STREAM)) {
    sockaddr_in address{};
    socklen_t length = sizeof address;
    if (!Call(&bind, m_fd.Get(), kLoopback, 0) || listen(m_fd.Get(), backlog) != 0) return;
    getsockname(m_fd.Get(), reinterpret_cast<sockaddr*>(&address), &length);
    m_usPort = ntohs(address.sin_port);
}

CRawPeer CRawListener::Accept() const {
    return CRawPeer(Ready(m_fd.Get(), POLLIN) ? accept4(m_fd.Get(), nullptr, nullptr, SOCK_CLOEXEC) : -1);
}
