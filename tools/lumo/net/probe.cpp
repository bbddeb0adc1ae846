#include "tools/lumo/net/probe.h"

namespace lumo {

NatKind ProbeResult::Kind() const {
    if (first.ip == 0 || second.ip == 0) return NatKind::Unknown;
    if (first != second) return NatKind::Differs;
    return first == lan ? NatKind::None : NatKind::Same;
}

std::string KindText(NatKind kind) {
    switch (kind) {
        case NatKind::None:
            return "none: the public address is this host's own";
        case NatKind::Same:
            return "one mapping for all: peers can find a direct path";
        case NatKind::Differs:
            return "a mapping for each destination: only peers without such a NAT can find a direct path";
        case NatKind::Unknown:
            break;
    }
    return "unknown: not both ports of the reflector have answered";
}

}  // namespace lumo
