// How to reach a channel through relay servers.
#pragma once

#include "tools/lumo/net/proxy_url.h"
#include "tools/lumo/net/target.h"

#include <lumomedia/seal.h>

#include <cstdint>
#include <string>

namespace lumo {

struct RelayRoute {
    RelayTarget mcu;
    RelayTarget nearMcu;  ///< a server that relays from `mcu`; empty: none
    bool tcp = false;
    CProxyServer proxy;
    uint32_t channel = 0;
    CSealSecret secret;  ///< not set: frames travel plain

    /// The server that serves a subscriber. Of two that have an address in common the library takes the publisher's.
    const RelayTarget& Server() const { return nearMcu.Empty() || nearMcu.SharesAddress(mcu) ? mcu : nearMcu; }
    /// "relay HOST:PORT", the server that serves us.
    std::string PathText() const { return "relay " + Server().Text(); }
};

}  // namespace lumo
