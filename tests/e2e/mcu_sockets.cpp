#include "e2e/mcu_sockets.h"

#include "support/session_wire.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

namespace e2e {

using session_wire::ReadU32;
using session_wire::U32;

namespace {

sockaddr_in Address(const std::string& host, uint16_t port) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    inet_pton(AF_INET, host.c_str(), &address.sin_addr);
    return address;
}

int Connect(int type, const std::string& from, uint16_t port, int receiveBuffer, bool& connected) {
    const int fd = socket(AF_INET, type | SOCK_CLOEXEC, 0);
    const timeval limit{30, 0};
    setsockopt(fd, SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit);
    setsockopt(fd, SOL_SOCKET, SO_SNDTIMEO, &limit, sizeof limit);
    if (receiveBuffer > 0) setsockopt(fd, SOL_SOCKET, SO_RCVBUF, &receiveBuffer, sizeof receiveBuffer);
    const sockaddr_in own = Address(from, 0), far = Address("127.0.0.1", port);
    connected = bind(fd, reinterpret_cast<const sockaddr*>(&own), sizeof own) == 0 &&
                connect(fd, reinterpret_cast<const sockaddr*>(&far), sizeof far) == 0;
    return fd;
}

}  // namespace

std::string Validation(uint32_t type, const std::vector<uint32_t>& payload) {
    std::string body = U32(type) + U32(static_cast<uint32_t>(4 * payload.size()));
    for (uint32_t value : payload) body += U32(value);
    return body;
}

CRawTcp::CRawTcp(uint16_t port, const std::string& from, int receiveBuffer)
    : m_nSocket(Connect(SOCK_STREAM, from, port, receiveBuffer, m_bConnected)) {}

CRawTcp::~CRawTcp() { close(m_nSocket); }

bool CRawTcp::SendBytes(const std::string& bytes) {
    for (size_t sent = 0; sent < bytes.size();) {
        const ssize_t count = send(m_nSocket, bytes.data() + sent, bytes.size() - sent, MSG_NOSIGNAL);
        if (count <= 0) return false;
        sent += static_cast<size_t>(count);
    }
    return true;
}

bool CRawTcp::SendMessage(char kind, const std::string& body) {
    return SendBytes(U32(static_cast<uint32_t>(body.size())) + kind + body);
}

bool CRawTcp::ReceiveBytes(size_t length, std::string& bytes) {
    bytes.resize(length);
    for (size_t got = 0; got < length;) {
        const ssize_t count = recv(m_nSocket, bytes.data() + got, length - got, 0);
        if (count <= 0) return false;
        got += static_cast<size_t>(count);
    }
    return true;
}

bool CRawTcp::Receive(std::string& body) {
    std::string header;
    return ReceiveBytes(5, header) && ReceiveBytes(ReadU32(header, 0), body);
}

bool CRawTcp::IsClosedSilently() {
    char byte;
    return recv(m_nSocket, &byte, 1, 0) == 0 || errno == ECONNRESET;
}

CRawUdp::CRawUdp(uint16_t port, const std::string& from) {
    bool connected = false;
    m_nSocket = Connect(SOCK_DGRAM, from, port, 0, connected);
}

CRawUdp::~CRawUdp() { close(m_nSocket); }

void CRawUdp::Send(const std::string& bytes) const {
    static_cast<void>(send(m_nSocket, bytes.data(), bytes.size(), 0));
}

std::string CRawUdp::Receive() const {
    std::string bytes(2048, '\0');
    const ssize_t got = recv(m_nSocket, bytes.data(), bytes.size(), 0);
    bytes.resize(got > 0 ? static_cast<size_t>(got) : 0);
    return bytes;
}

uint16_t CRawUdp::Port() const {
    sockaddr_in own{};
    socklen_t length = sizeof own;
    getsockname(m_nSocket, reinterpret_cast<sockaddr*>(&own), &length);
    return ntohs(own.sin_port);
}

}  // namespace e2e
