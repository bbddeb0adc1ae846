// Why a dial through a proxy has failed.
#pragma once

#include <string>

enum class ProxyFault {
    None,
    UnknownName,    ///< the proxy's name leads nowhere
    NotThere,       ///< nobody answers at the proxy's address
    WantsPassword,  ///< it takes no one without a user and a password, or not with those given
    Forbids,        ///< it lets no one through to that address or port
    CannotReach,    ///< it has found nobody there
    Other,
};

struct CProxyFailure {
    ProxyFault fault = ProxyFault::None;
    std::string words;  ///< the system's, the proxy's answer, or what was odd about that
};
