#include "tools/lumo/net/target.h"

#include <arpa/inet.h>
#include <netdb.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include <algorithm>
#include <charconv>
#include <memory>

namespace lumo {

uint64_t ParseNumber(const std::string& text, uint64_t most) {
    uint64_t value = 0;
    const char* const end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, value);
    return error == std::errc() && stop == end && value <= most ? value : 0;
}

bool ParseTarget(const std::string& text, RelayTarget& target, std::string& problem, uint16_t usualPort) {
    const size_t colon = text.find(':');
    target.host = text.substr(0, colon);
    target.port = usualPort;
    if (colon != std::string::npos) {
        if (text.find(':', colon + 1) != std::string::npos) {
            problem = "'" + text + "' looks like IPv6, which the wire does not know";
            return false;
        }
        target.port = static_cast<uint16_t>(ParseNumber(text.substr(colon + 1), 65535));
    }
    const bool plain = !target.host.empty() && target.host.find_first_of(" \t/@") == std::string::npos;
    if (plain && target.port != 0) return true;
    problem = "'" + text + "' is not HOST or HOST:PORT";
    return false;
}

bool IsThisHostAlone(const std::string& host) {
    in_addr address{};
    return host == "localhost" || (inet_aton(host.c_str(), &address) != 0 && ntohl(address.s_addr) >> 24 == 127);
}

std::string ThisHostAlone(const std::string& host) {
    return host +
           " is this host alone, so the line works nowhere else: --mcu with an address that others reach makes one "
           "that does";
}

bool ResolveTarget(RelayTarget& target, std::string& problem) {
    addrinfo hints{};
    hints.ai_family = AF_INET;
    hints.ai_socktype = SOCK_DGRAM;
    addrinfo* found = nullptr;
    const int error = getaddrinfo(target.host.c_str(), nullptr, &hints, &found);
    const std::unique_ptr<addrinfo, void (*)(addrinfo*)> list(error == 0 ? found : nullptr, freeaddrinfo);
    size_t count = 0;
    for (const addrinfo* item = list.get(); item && count < target.ips.size(); item = item->ai_next) {
        const uint32_t ip = ntohl(reinterpret_cast<const sockaddr_in*>(item->ai_addr)->sin_addr.s_addr);
        const auto end = target.ips.begin() + static_cast<std::ptrdiff_t>(count);
        if (ip != 0 && std::find(target.ips.begin(), end, ip) == end) target.ips[count++] = ip;
    }
    if (count > 0) return true;
    problem = "cannot find the host '" + target.host + "'" +
              (error != 0 ? std::string(": ") + gai_strerror(error) : std::string());
    return false;
}

}  // namespace lumo
