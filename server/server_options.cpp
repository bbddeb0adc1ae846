#include "server/server_options.h"

#include "platform/lumonet/lumonet.h"

#include <algorithm>

namespace {

bool ParsePort(const std::string& text, uint16_t& port) {
    if (text.empty() || text.size() > 5) return false;
    if (!std::all_of(text.begin(), text.end(), [](char c) { return c >= '0' && c <= '9'; })) return false;
    const unsigned long value = std::stoul(text);
    port = static_cast<uint16_t>(value);
    return value <= UINT16_MAX;
}

}  // namespace

bool ParseEndpoint(const std::string& text, uint32_t& ip, uint16_t& port) {
    const size_t colon = text.find(':');
    const std::string host = text.substr(0, colon);
    uint32_t newIP = ip;
    uint16_t newPort = port;
    if (host.empty() && colon == std::string::npos) return false;
    if (!host.empty() && !ParseIpAddr(host, newIP)) return false;
    if (colon != std::string::npos && !ParsePort(text.substr(colon + 1), newPort)) return false;
    ip = newIP;
    port = newPort;
    return true;
}

std::string SmallLetters(std::string text) {
    const auto small = [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; };
    std::transform(text.begin(), text.end(), text.begin(), small);
    return text;
}

bool ParseHostName(const std::string& text, std::string& name) {
    constexpr size_t kLongest = 253;
    const std::string small = SmallLetters(text);
    const size_t colon = small.find(':');
    const std::string host = small.substr(0, colon);
    uint16_t port = 0;
    if (host.empty() || host.size() > kLongest) return false;
    const auto fits = [](char c) {
        return (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '-' || c == '.' || c == '_';
    };
    if (!std::all_of(host.begin(), host.end(), fits)) return false;
    if (colon != std::string::npos && !ParsePort(small.substr(colon + 1), port)) return false;
    name = small;
    return true;
}

std::string EndpointText(uint32_t ip, uint16_t port) { return GetIpAddr(ip) + ":" + std::to_string(port); }

CServerOptions CServerOptions::Changed(const CServerOptions& next) const {
    CServerOptions changed = *this;
    changed.allow = next.allow;
    changed.relayTo = next.relayTo;
    changed.limits = next.limits;
    changed.limits.connections = limits.connections;                            // descriptors
    changed.limits.unvalidatedUdpPerAddress = limits.unvalidatedUdpPerAddress;  // the tables keep it
    return changed;
}
