#include "server/relays/relay_policy.h"

#include <arpa/inet.h>
#include <ifaddrs.h>
#include <net/if.h>
#include <netinet/in.h>
#include <algorithm>
#include <utility>

namespace {

const CCidr kThisNetwork(0, 8);
const CCidr kLoopback(0x7f000000, 8);
const CCidr kMulticastAndReserved(0xe0000000, 3);  // 224.0.0.0 to 255.255.255.255

void AddAddress(const sockaddr* address, std::vector<uint32_t>& list) {
    if (!address || address->sa_family != AF_INET) return;
    list.push_back(ntohl(reinterpret_cast<const sockaddr_in*>(address)->sin_addr.s_addr));
}

}  // namespace

void CRelayPolicy::Refresh() {
    std::vector<uint32_t> own;
    std::vector<uint32_t> broadcast;
    ifaddrs* first = nullptr;
    if (getifaddrs(&first) != 0) return;
    for (const ifaddrs* one = first; one; one = one->ifa_next) {
        AddAddress(one->ifa_addr, own);
        if ((one->ifa_flags & IFF_BROADCAST) != 0) AddAddress(one->ifa_broadaddr, broadcast);
    }
    freeifaddrs(first);
    SetOwn(std::move(own), std::move(broadcast));
}

void CRelayPolicy::SetOwn(std::vector<uint32_t> own, std::vector<uint32_t> broadcast) {
    CAutoLock lock(&m_cs);
    m_own = std::move(own);
    m_broadcast = std::move(broadcast);
}

// A server bound to one address shares its host with others: only that address is itself.
bool CRelayPolicy::IsOwn(uint32_t ip) {
    if (const uint32_t own = m_options.Now().listenIP) return ip == own;
    if (kLoopback.Contains(ip)) return true;
    CAutoLock lock(&m_cs);
    return std::find(m_own.begin(), m_own.end(), ip) != m_own.end();
}

bool CRelayPolicy::IsBroadcast(uint32_t ip) {
    CAutoLock lock(&m_cs);
    return std::find(m_broadcast.begin(), m_broadcast.end(), ip) != m_broadcast.end();
}

bool CRelayPolicy::Allows(uint32_t ip) {
    if (kThisNetwork.Contains(ip) || kMulticastAndReserved.Contains(ip)) return false;
    if (IsOwn(ip) || IsBroadcast(ip)) return false;
    const CServerOptions& now = m_options.Now();
    if (!now.relayTo.empty()) return Contains(now.relayTo, ip);
    return !kLoopback.Contains(ip) || kLoopback.Contains(now.listenIP);
}

CMcuAddress CRelayPolicy::Filter(const CMcuAddress& asked) {
    CMcuAddress allowed;
    allowed.port = asked.port;
    size_t count = 0;
    asked.ForEachDistinct([&](uint32_t ip) {
        if (asked.port != 0 && Allows(ip)) allowed.ips[count++] = ip;
    });
    return allowed;
}

bool CRelayPolicy::IsThisServer(const CMcuAddress& named, uint16_t ownPort) {
    return named.port == ownPort &&
           std::any_of(named.ips.begin(), named.ips.end(), [this](uint32_t ip) { return ip != 0 && IsOwn(ip); });
}
