// What the factories share; below, what only those of the media that start and stop do.
#pragma once

#include "link/callback.h"
#include "link/mcu_address.h"
#include "link/tcp/tcp_link.h"
#include "platform/lumobase/app_log.h"

/// What the factories share.
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

/// What the factories of the media that start and stop share.
/// What `make` gives, on its way to the server; `proxy` over TCP only.
template <class TSender, class TMade, class TNotify, class... TProxy>
TSender* ConnectedSender(TMade* (*make)(TNotify&, uint32_t), TNotify& notify, unsigned long channelID,
                         const CMcuAddress& mcu, const TProxy&... proxy) {
    TMade* made = Make([&] { return make(notify, static_cast<uint32_t>(channelID)); });
    return Connected(static_cast<TSender*>(made), [&](TSender& sender) {
        return sender.Connect(mcu.ips[0], mcu.ips[1], mcu.ips[2], mcu.port, proxy...);
    });
}

/// `to` is what its Connect takes. Receivers belong to no channel of this host.
template <class TReceiver, class TNotify, class... To>
TReceiver* ConnectedReceiver(TNotify& notify, unsigned long channelID, unsigned long userID, const To&... to) {
    TReceiver* made =
        Make([&] { return new TReceiver(notify, static_cast<uint32_t>(channelID), static_cast<uint32_t>(userID)); });
    return Connected(made, [&](TReceiver& receiver) { return receiver.Connect(to...); });
}
