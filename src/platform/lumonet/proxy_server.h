// How to reach a server through a proxy.
#pragma once

#include <cstdint>
#include <string>

enum class ProxyType : int { None = 0, HttpConnect = 1, Socks4a = 2, Socks5 = 3 };

/// Type None means directly.
struct CProxyServer {
    ProxyType type = ProxyType::None;
    std::string host;
    uint16_t port = 0;
    std::string user;
    std::string password;

    /// A known type, a host that is a name or an address and nothing more, and a port.
    bool IsUsable() const;
};
