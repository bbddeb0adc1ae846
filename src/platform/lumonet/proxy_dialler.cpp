#include "platform/lumonet/proxy_dialler.h"

#include "platform/lumonet/dial_thread.h"

bool CProxyServer::IsUsable() const {
    const bool known = type == ProxyType::HttpConnect || type == ProxyType::Socks4a || type == ProxyType::Socks5;
    // Nothing that would be read as more than a host: a scheme, a user, a port, a path.
    const bool plain = host.find_first_not_of("abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789.-_") ==
                       std::string::npos;
    return known && !host.empty() && plain && port != 0;
}

CProxyDial::CProxyDial(const CProxyServer& proxy, const std::string& targetIP, uint16_t targetPort, Done done)
    : m_nID(CDialThread::Instance().Add({proxy, targetIP, targetPort, std::move(done)})) {}

void CProxyDial::Cancel() {
    if (const uint64_t id = std::exchange(m_nID, 0)) CDialThread::Instance().Cancel(id);
}
