// The proxy of a TCP connection, as it is typed.
#pragma once

#include "platform/lumonet/proxy_dialler.h"

#include <string>

namespace lumo {

/// SCHEME://[USER[:PASSWORD]@]HOST[:PORT] with http, socks4, socks4a, socks5 or socks5h; user and password may hold
/// %XX. A user without password gets `fallbackPassword`, which need not stand on the command line. The problem never
/// repeats the URL, which may hold a password.
bool ParseProxyUrl(const std::string& url, const std::string& fallbackPassword, CProxyServer& proxy,
                   std::string& problem);

}  // namespace lumo
