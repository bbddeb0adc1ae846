// A small HTTP proxy that knows CONNECT and nothing else, for loopback.
#pragma once

#include "tools/lumo/dump/packet.h"

#include <asio/io_context.hpp>
#include <asio/ip/tcp.hpp>

#include <cstddef>
#include <cstdint>
#include <string>

namespace lumo {

/// One thread. Tunnels only to loopback addresses given in digits.
class CConnectProxy {
public:
    bool Open(const Endpoint& listen, std::string& problem);
    uint16_t Port() const { return m_acceptor.local_endpoint().port(); }
    /// Serves until `fd` is readable.
    void ServeUntilReadable(int fd);
    uint64_t Tunnels() const { return m_nTunnels; }

    /// The target of a request head; false when it is no CONNECT to loopback.
    static bool ParseRequest(const std::string& head, Endpoint& target);

private:
    class CTunnel;
    static constexpr size_t kMaxTunnels = 64;

    void Accept();

    uint64_t m_nTunnels = 0;
    size_t m_nClients = 0;       // at kMaxTunnels the next ones wait
    asio::io_context m_context;  // its end is the end of the tunnels, which count
    asio::ip::tcp::acceptor m_acceptor{m_context};
};

}  // namespace lumo
