// The proxy of a TCP connection, as it is typed.
#pragma once

#include <cstdint>
#include <string>

namespace lumo {

/// The library's numbers of the proxy kinds.
enum class ProxyType { None = 0, HttpConnect = 1, Socks4a = 2, Socks5 = 3 };

struct ProxySettings {
    ProxyType type = ProxyType::None;
    std::string host;
    uint16_t port = 0;
    std::string user;
    std::string password;
};

/// SCHEME://[USER[:PASSWORD]@]HOST[:PORT] with http, socks4, socks4a, socks5 or socks5h; user and password may hold
/// %XX. A user without password gets `fallbackPassword`, which need not stand on the command line. The problem never
/// repeats the URL, which may hold a password.
bool ParseProxyUrl(const std::string& url, const std::string& fallbackPassword, ProxySettings& settings,
                   std::string& problem);

}  // namespace lumo
