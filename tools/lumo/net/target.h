// Where a relay server is.
#pragma once

#include <algorithm>
#include <array>
#include <cstdint>
#include <string>

namespace lumo {

inline constexpr uint16_t kDefaultPort = 7000;

struct RelayTarget {
    std::string host;
    uint16_t port = 0;
    std::array<uint32_t, 3> ips{};  ///< host byte order, 0 where there is none

    bool Empty() const { return port == 0; }
    bool SharesAddress(const RelayTarget& other) const {
        return std::any_of(ips.begin(), ips.end(), [&other](uint32_t ip) {
            return ip != 0 && std::find(other.ips.begin(), other.ips.end(), ip) != other.ips.end();
        });
    }
    /// As it is typed: "HOST:PORT".
    std::string Text() const { return host + ":" + std::to_string(port); }
};

/// "HOST" or "HOST:PORT"; false, with `problem`, for anything else.
bool ParseTarget(const std::string& text, RelayTarget& target, std::string& problem, uint16_t usualPort = kDefaultPort);
/// Whether other hosts understand something else by that name or address.
bool IsThisHostAlone(const std::string& host);
/// What somebody who hands it on should know.
std::string ThisHostAlone(const std::string& host);
/// Looks the host up: up to three IPv4 addresses.
bool ResolveTarget(RelayTarget& target, std::string& problem);

/// A decimal number of 1 to `most` without signs or blanks; 0 for anything else.
uint64_t ParseNumber(const std::string& text, uint64_t most);

}  // namespace lumo
