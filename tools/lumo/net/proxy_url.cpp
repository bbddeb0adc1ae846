#include "tools/lumo/net/proxy_url.h"

#include "tools/lumo/net/target.h"

#include <charconv>

namespace lumo {
namespace {

struct Scheme {
    const char* name;
    ProxyType type;
    uint16_t port;
};
constexpr Scheme kSchemes[] = {
    {"http", ProxyType::HttpConnect, 8080}, {"socks4", ProxyType::Socks4a, 1080}, {"socks4a", ProxyType::Socks4a, 1080},
    {"socks5", ProxyType::Socks5, 1080},    {"socks5h", ProxyType::Socks5, 1080},
};

constexpr size_t kMaxCredential = 255;  // what SOCKS5 has room for

/// Undoes %XX; false for a broken one, a control character or too much.
bool DecodeCredential(const std::string& text, std::string& result) {
    result.clear();
    for (size_t i = 0; i < text.size(); ++i) {
        unsigned value = static_cast<unsigned char>(text[i]);
        if (text[i] == '%') {
            const char* const digits = text.data() + i + 1;
            if (i + 2 >= text.size() || std::from_chars(digits, digits + 2, value, 16).ptr != digits + 2) return false;
            i += 2;
        }
        if (value < 0x20 || value == 0x7F) return false;
        result += static_cast<char>(value);
    }
    return result.size() <= kMaxCredential;
}

bool ParseUserInfo(const std::string& info, const std::string& fallbackPassword, CProxyServer& proxy) {
    const size_t colon = info.find(':');
    if (!DecodeCredential(info.substr(0, colon), proxy.user) || proxy.user.empty()) return false;
    if (colon == std::string::npos) {
        proxy.password = fallbackPassword;
        return proxy.password.size() <= kMaxCredential;
    }
    return DecodeCredential(info.substr(colon + 1), proxy.password);
}

bool ParseHost(std::string text, uint16_t usualPort, CProxyServer& proxy) {
    if (!text.empty() && text.back() == '/') text.pop_back();
    RelayTarget target;
    std::string problem;
    if (!ParseTarget(text, target, problem, usualPort)) return false;
    proxy.host = target.host;
    proxy.port = target.port;
    return proxy.host.size() <= kMaxCredential && proxy.IsUsable();
}

}  // namespace

bool ParseProxyUrl(const std::string& url, const std::string& fallbackPassword, CProxyServer& proxy,
                   std::string& problem) {
    const size_t end = url.find("://");
    const std::string name = end == std::string::npos ? "" : url.substr(0, end);
    for (const Scheme& scheme : kSchemes) {
        if (name != scheme.name) continue;
        proxy = {};
        proxy.type = scheme.type;
        std::string rest = url.substr(end + 3);
        const size_t at = rest.rfind('@');
        if (at != std::string::npos && !ParseUserInfo(rest.substr(0, at), fallbackPassword, proxy)) {
            problem = "the proxy's user or password is not well-formed (write special characters as %XX)";
            return false;
        }
        if (at != std::string::npos) rest = rest.substr(at + 1);
        if (ParseHost(rest, scheme.port, proxy)) return true;
        problem = "the proxy's address is not HOST or HOST:PORT";
        return false;
    }
    problem = "the proxy must begin with http://, socks4:// or socks5://";
    return false;
}

}  // namespace lumo
