// Plain sockets that speak to a relay server without the library.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace e2e {

/// One TCP connection; every call waits, for 30 s at most.
class CRawTcp {
public:
    /// From `from`, so that limits per address can be told apart.
    explicit CRawTcp(uint16_t port, const std::string& from = "127.0.0.1", int receiveBuffer = 0);
    ~CRawTcp();
    CRawTcp(const CRawTcp&) = delete;
    CRawTcp& operator=(const CRawTcp&) = delete;

    bool IsConnected() const { return m_bConnected; }
    /// Bytes as they are; false when the far side has closed.
    bool SendBytes(const std::string& bytes);
    /// One message: kind 0 a frame, 1 a validation.
    bool SendMessage(char kind, const std::string& body);
    /// The body of the next message; false at the end of the connection.
    bool Receive(std::string& body);
    /// Whether the far side closes without saying anything.
    bool IsClosedSilently();

private:
    bool ReceiveBytes(size_t length, std::string& bytes);

    int m_nSocket;
    bool m_bConnected;
};

/// Type, payload length and payload of a validation.
std::string Validation(uint32_t type, const std::vector<uint32_t>& payload);

/// Sends datagrams and forgets them.
class CRawUdp {
public:
    CRawUdp(uint16_t port, const std::string& from);
    ~CRawUdp();
    CRawUdp(const CRawUdp&) = delete;
    CRawUdp& operator=(const CRawUdp&) = delete;
    void Send(const std::string& bytes) const;
    /// The next datagram; empty when none comes within 30 s.
    std::string Receive() const;
    uint16_t Port() const;

private:
    int m_nSocket;
};

}  // namespace e2e
