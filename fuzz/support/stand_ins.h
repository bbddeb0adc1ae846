// IDs are random, so the seeds hold stand-ins like "#sin": where a field's four bytes are one, the live ID takes its
// place; anything else stays as the fuzzer made it.
#pragma once

#include <cstddef>
#include <map>
#include <string>

/// Stand-in and live ID, four bytes each.
using CLiveIDs = std::map<std::string, std::string>;

/// Replaces the stand-ins of one datagram's first two fields.
inline std::string WithLiveIDs(std::string datagram, const CLiveIDs& live) {
    for (size_t at = 2; at + 4 <= datagram.size() && at <= 6; at += 4) {
        const auto found = live.find(datagram.substr(at, 4));
        if (found != live.end()) datagram.replace(at, 4, found->second);
    }
    return datagram;
}
