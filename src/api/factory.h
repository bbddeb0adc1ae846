// What the factories share.
#pragma once

#include "link/tcp_link.h"
#include "platform/lumobase/app_log.h"

inline CProxy Proxy(int type, const char* host, unsigned short port, const char* user, const char* password) {
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
