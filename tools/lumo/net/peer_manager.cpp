#include "tools/lumo/net/peer_manager.h"

#include "platform/lumonet/file_descriptor.h"

#include <netinet/in.h>
#include <sys/socket.h>

namespace lumo {

std::string HostPort::Text() const {
    std::string text;
    for (int shift = 24; shift >= 0; shift -= 8) text += std::to_string(ip >> shift & 0xff) + (shift > 0 ? "." : ":");
    return text + std::to_string(port);
}

uint32_t LanAddressTowards(uint32_t ip) {
    const CFileDescriptor probe(socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0));
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(ip);
    address.sin_port = htons(9);  // nothing is sent: the kernel only chooses the way
    if (connect(probe.Get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) return 0;
    socklen_t length = sizeof address;
    if (getsockname(probe.Get(), reinterpret_cast<sockaddr*>(&address), &length) != 0) return 0;
    return ntohl(address.sin_addr.s_addr);
}

CPeerManager::CPeerManager(bool peers, uint32_t userID, bool forwarded)
    : m_bPeers(peers), m_ulUserID(userID), m_bForwarded(forwarded), m_pPeers(peers ? CreateP2P(*this) : nullptr) {
    m_mcu.emplace();
}

CPeerManager::~CPeerManager() { End(); }

void CPeerManager::End() {
    m_mcu.reset();
    if (m_pPeers) m_pPeers->ReleaseConnections();
    m_pPeers = nullptr;
}

void CPeerManager::AskReflector(const HostPort& reflector) {
    m_ulLanIP = LanAddressTowards(reflector.ip);
    m_pPeers->SetSunServer(reflector.ip, reflector.port);
}

HostPort CPeerManager::Public() const {
    const uint64_t both = m_ullPublic.load(std::memory_order_acquire);
    return {static_cast<uint32_t>(both >> 16), static_cast<uint16_t>(both)};
}

void CPeerManager::OnP2PNotifyGetP2PItem(P2PItem& item) {
    const HostPort lan = Lan(), mapped = Public();
    item.ulLocalIP = lan.ip;
    item.usLocalUDPPort = lan.port;
    item.ulNATIP = mapped.ip;
    item.usNATUDPPort = mapped.port;
    item.bUpnp = m_bForwarded;
}

void CPeerManager::OnP2PNotifyNATAddress(unsigned long ip, unsigned short port) {
    m_ullPublic.store(static_cast<uint64_t>(ip) << 16 | port, std::memory_order_release);
    m_nAnswers.fetch_add(1, std::memory_order_release);
}

}  // namespace lumo
