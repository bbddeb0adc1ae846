#include "tools/lumo/board/board_door.h"

#include "platform/lumonet/lumonet.h"

#include <lumomedia/seal.h>
#include <openssl/crypto.h>

namespace lumo {
namespace {

/// Browsers leave out what goes without saying.
std::string PortText(uint16_t port) { return port == 80 ? "" : ":" + std::to_string(port); }

/// Names can be made to lead here; addresses cannot.
bool Names(const std::string& host, const BoardDoor& door) {
    const std::string port = PortText(door.port);
    if (host.size() <= port.size() || host.compare(host.size() - port.size(), port.size(), port) != 0) return false;
    const std::string name = host.substr(0, host.size() - port.size());
    if (name == "localhost") return door.ip == BoardDoor::kLoopback;
    uint32_t ip = 0;
    return ParseIpAddr(name, ip) && (ip == door.ip || door.ip == 0);
}

}  // namespace

bool BoardDoor::DrawToken() {
    CSealSecret secret;
    char text[kSealSecretLength + 1] = {};
    if (!secret.Draw()) return false;
    secret.GetText(text);
    token = text;
    return true;
}

bool BoardDoor::Opens(const std::string& path) const {
    if (token.empty()) return true;
    const std::string prefix = Prefix();
    if (path.size() < prefix.size() || CRYPTO_memcmp(path.data(), prefix.data(), prefix.size()) != 0) return false;
    return path.size() == prefix.size() || path[prefix.size()] == '/';
}

std::string BoardDoor::Url(uint32_t shownIP) const {
    return "http://" + GetIpAddr(shownIP) + PortText(port) + Prefix() + "/";
}

bool IsOwnRequest(const httplib::Request& request, const BoardDoor& door) {
    if (request.get_header_value_count("Host") != 1 || request.get_header_value_count("Origin") > 1) return false;
    const std::string host = request.get_header_value("Host");
    if (!Names(host, door)) return false;
    const bool asks = request.method == "GET" || request.method == "HEAD";
    if (request.has_header("Origin")) return request.get_header_value("Origin") == "http://" + host;
    // Older pages of others cannot leave it out when they post, and newer browsers tell of every request.
    const std::string site = request.get_header_value("Sec-Fetch-Site");
    return asks && (site.empty() || site == "same-origin" || site == "none");
}

}  // namespace lumo
