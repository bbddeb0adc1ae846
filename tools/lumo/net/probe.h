// What a host learns of its NAT from the two ports of a reflector.
#pragma once

#include "tools/lumo/net/peer_manager.h"

#include <string>

namespace lumo {

enum class NatKind {
    None,     ///< the public address is the host's own
    Same,     ///< one mapping towards both ports: peers that punch can get in
    Differs,  ///< a mapping for each destination: peers cannot foresee it
    Unknown,  ///< one port did not answer
};

struct ProbeResult {
    HostPort lan;
    HostPort first;   ///< public address as the reflector's own port saw it; zeros without an answer
    HostPort second;  ///< as its second port saw it

    NatKind Kind() const;
};

/// In words for people.
std::string KindText(NatKind kind);

}  // namespace lumo
