// Why a server does not serve this program, in words.
#pragma once

#include "tools/lumo/net/relay_route.h"

#include <string>

namespace lumo {

enum class ServerFault {
    None,
    Answers,  ///< it is there, and does not do what was asked of it
    NotThere,
    Silent,
    NoWay,
    NoUdp,  ///< it is there over TCP only
    Closes,
    RefusesToRelay,
    ProxyUnknown,
    ProxyNotThere,
    ProxyPassword,
    ProxyForbids,
    ProxyCannotReach,
    ProxyOdd,
};

struct ServerTrouble {
    ServerFault fault = ServerFault::None;
    std::string problem;  ///< what has failed, and where
    std::string advice;   ///< what to try; empty: that has been said

    /// As programs read it: "proxy-password".
    const char* Name() const;
    /// Whether waiting does not end it.
    bool Lasts() const;
    std::string Text() const { return advice.empty() ? problem : problem + "; " + advice; }
};

/// Of an attempt to reach a server that has failed with that errno value; `over` names the transport.
ServerTrouble TroubleOf(int error, const RelayTarget& server, const std::string& over);
/// The same through a proxy.
ServerTrouble TroubleOf(const CProxyFailure& failure, const RelayTarget& server, const CProxyServer& proxy);

}  // namespace lumo
