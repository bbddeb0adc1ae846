#include "tools/lumo/net/proxy_url.h"

#include "tools/lumo/net/target.h"

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

int HexDigit(char digit) {
    if (digit >= '0' && digit <= '9') return digit - '0';
    const char lower = static_cast<char>(digit | 0x20);
    return lower >= 'a' && lower <= 'f' ? lower - 'a' + 10 : -1;
}

/// Undoes %XX; false for a broken one, a control character or too much.
bool DecodeCredential(const std::string& text, std::string& result) {
    result.clear();
    for (size_t i = 0; i < text.size(); ++i) {
        int value = static_cast<unsigned char>(text[i]);
        if (text[i] == '%') {
            if (i + 2 >= text.size()) return false;
            const int high = HexDigit(text[i + 1]), low = HexDigit(text[i + 2]);
            if (high < 0 || low < 0) return false;
            value = high * 16 + low;
            i += 2;
        }
        if (value < 0x20 || value == 0x7F) return false;
        result += static_cast<char>(value);
    }
    return result.size() <= kMaxCredential;
}

bool ParseUserInfo(const std::string& info, const std::string& fallbackPassword, ProxySettings& settings) {
    const size_t colon = info.find(':');
    if (!DecodeCredential(info.substr(0, colon), settings.user) || settings.user.empty()) return false;
    if (colon == std::string::npos) {
        settings.password = fallbackPassword;
        return settings.password.size() <= kMaxCredential;
    }
    return DecodeCredential(info.substr(colon + 1), settings.password);
}

bool ParseHost(std::string text, uint16_t defaultPort, ProxySettings& settings) {
    if (!text.empty() && text.back() == '/') text.pop_back();
    const size_t colon = text.find(':');
    settings.host = text.substr(0, colon);
    settings.port = defaultPort;
    if (colon != std::string::npos) settings.port = static_cast<uint16_t>(ParseNumber(text.substr(colon + 1), 65535));
    return settings.port != 0 && !settings.host.empty() && settings.host.size() <= kMaxCredential &&
           settings.host.find_first_not_of("abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789.-_") ==
               std::string::npos;
}

}  // namespace

bool ParseProxyUrl(const std::string& url, const std::string& fallbackPassword, ProxySettings& settings,
                   std::string& problem) {
    const size_t end = url.find("://");
    const std::string name = end == std::string::npos ? "" : url.substr(0, end);
    for (const Scheme& scheme : kSchemes) {
        if (name != scheme.name) continue;
        settings = ProxySettings{};
        settings.type = scheme.type;
        std::string rest = url.substr(end + 3);
        const size_t at = rest.rfind('@');
        if (at != std::string::npos && !ParseUserInfo(rest.substr(0, at), fallbackPassword, settings)) {
            problem = "the proxy's user or password is not well-formed (write special characters as %XX)";
            return false;
        }
        if (at != std::string::npos) rest = rest.substr(at + 1);
        if (ParseHost(rest, scheme.port, settings)) return true;
        problem = "the proxy's address is not HOST or HOST:PORT";
        return false;
    }
    problem = "the proxy must begin with http://, socks4:// or socks5://";
    return false;
}

}  // namespace lumo
