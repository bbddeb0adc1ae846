#include "platform/lumonet/lumonet.h"
#include "platform/lumonet/net_real.h"
#include "platform/lumonet/udp_counters.h"
#include "platform/lumonet/udp_features.h"

#include <mutex>

namespace {

NetFactories g_factories;

std::mutex g_featuresMutex;
UdpFeatures g_features;

/// A number of 0 to 255 without leading zeros, which others read as octal.
bool ParseByte(const char*& at, const char* end, uint32_t& value) {
    const char* const begin = at;
    value = 0;
    while (at != end && *at >= '0' && *at <= '9' && at - begin < 3)
        value = value * 10 + static_cast<uint32_t>(*at++ - '0');
    const bool leadingZero = at - begin > 1 && *begin == '0';
    return at != begin && !leadingZero && value <= 255;
}

}  // namespace

std::string GetIpAddr(unsigned long ip) {
    std::string text;
    for (int shift = 24; shift >= 0; shift -= 8) {
        text += std::to_string(ip >> shift & 0xff);
        if (shift > 0) text += '.';
    }
    return text;
}

bool ParseIpAddr(const std::string& text, uint32_t& ip) {
    const char* at = text.data();
    const char* const end = at + text.size();
    uint32_t address = 0;
    for (int i = 0; i < 4; ++i) {
        uint32_t byte = 0;
        if (i > 0 && (at == end || *at++ != '.')) return false;
        if (!ParseByte(at, end, byte)) return false;
        address = address << 8 | byte;
    }
    if (at != end) return false;
    ip = address;
    return true;
}

void SetNetFactories(const NetFactories& factories) { g_factories = factories; }

IUdpClient* CreateUdpClientAt(IUdpClientNotify* notify, const UdpOptions& options) {
    return g_factories.createUdpClient ? g_factories.createUdpClient(notify, options) : MakeUdpClient(notify, options);
}

IUdpClient* CreateUdpClient(IUdpClientNotify* notify, unsigned short port) {
    UdpOptions options;
    options.port = port;
    return CreateUdpClientAt(notify, options);
}

ITcpServer* CreateTcpServerAt(ITcpServerNotify* notify, const TcpServerOptions& options) {
    return g_factories.createTcpServer ? g_factories.createTcpServer(notify, options) : MakeTcpServer(notify, options);
}

ITcpServer* CreateTcpServer(ITcpServerNotify* notify, unsigned short port) {
    TcpServerOptions options;
    options.port = port;
    return CreateTcpServerAt(notify, options);
}

ITcpClient* CreateTcpClient(ITcpClientNotify* notify, const std::string& server, unsigned short port, int proxyType,
                            const std::string& proxyHost, unsigned short proxyPort, const std::string& proxyUser,
                            const std::string& proxyPassword) {
    const auto create = g_factories.createTcpClient ? g_factories.createTcpClient : &MakeTcpClient;
    return create(notify, server, port, proxyType, proxyHost, proxyPort, proxyUser, proxyPassword);
}

void SetUdpFeatures(const UdpFeatures& features) {
    std::lock_guard<std::mutex> lock(g_featuresMutex);
    g_features = features;
}

UdpFeatures GetUdpFeatures() {
    std::lock_guard<std::mutex> lock(g_featuresMutex);
    return g_features;
}

UdpCounters GetUdpCounters() {
    const auto value = [](const std::atomic<uint64_t>& counter) { return counter.load(std::memory_order_relaxed); };
    return {value(udp::g_nSent), value(udp::g_nReceived), value(udp::g_nBytesSent), value(udp::g_nBytesReceived),
            value(udp::g_nRefused)};
}
