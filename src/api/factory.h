// What the factories share.
#pragma once

#include "link/callback.h"
#include "link/mcu_address.h"
#include "link/tcp_link.h"
#include "platform/lumobase/app_log.h"

inline CMcuAddress Mcu(unsigned long ip0, unsigned long ip1, unsigned long ip2, unsigned short port) {
    return {{static_cast<uint32_t>(ip0), static_cast<uint32_t>(ip1), static_cast<uint32_t>(ip2)}, port};
}

/// Copied only where it is used, behind the factory's try.
struct CProxyWords {
    int type;
    const char* host;
    unsigned short port;
    const char *user, *password;
    operator CProxyServer() const { return {static_cast<ProxyType>(type), host, port, user, password}; }
};

inline CProxyWords Proxy(int type, const char* host, unsigned short port, const char* user, const char* password) {
    return {type, host, port, user, password};
}

/// Gives `made` back when `connect` agrees, else releases it; null for null and after an exception.
template <class TMade, class TConnect>
TMade* Connected(TMade* made, TConnect connect) {
    if (!made) return nullptr;
    try {
        if (connect(*made)) return made;
    } catch (...) {
        AppLog().debug("A factory failed");
    }
    COwnRelease own;
    made->ReleaseConnections();
    return nullptr;
}

template <class TMake>
auto Make(TMake make) -> decltype(make()) {
    try {
        return make();
    } catch (...) {
        AppLog().debug("A factory failed");
        return nullptr;
    }
}
