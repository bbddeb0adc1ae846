#include "tools/lumo/net/relay_link.h"

namespace lumo {

CPublishLink::CPublishLink(const RelayRoute& route, CInbox& inbox)
    : CChannelLink(inbox, SendTimes(route.tcp)), m_route(route) {
    OpenChannel(std::make_unique<CPublishChannel>(route.channel, inbox));
}

CPublishLink::~CPublishLink() {
    Close();
    CloseChannel();
}

bool CPublishLink::Create() {
    const RelayRoute& to = m_route;
    const auto& ips = to.mcu.ips;
    m_pSender = to.tcp ? CreateFileSenderTCP(*this, to.channel, ips[0], ips[1], ips[2], to.mcu.port,
                                             static_cast<int>(to.proxy.type), to.proxy.host.c_str(), to.proxy.port,
                                             to.proxy.user.c_str(), to.proxy.password.c_str())
                       : CreateFileSenderUDP(*this, to.channel, ips[0], ips[1], ips[2], to.mcu.port);
    return m_pSender != nullptr;
}

// Over UDP the library hopes for 2 s and goes on asking: an answer may be longer on its way.
bool CPublishLink::IsDisconnected() { return m_pSender->IsDisconnected() && (m_route.tcp || IsTaken()); }

void CPublishLink::Release() {
    if (m_pSender) m_pSender->ReleaseConnections();
    m_pSender = nullptr;
}

CSubscribeLink::CSubscribeLink(const RelayRoute& route, CInbox& inbox)
    : CChannelLink(inbox, ReceiveTimes(route.tcp)), m_route(route) {
    OpenChannel(std::make_unique<CUpstreamChannel>(route.channel));
}

CSubscribeLink::~CSubscribeLink() {
    Close();
    CloseChannel();
}

bool CSubscribeLink::Create() {
    const RelayRoute& to = m_route;
    const auto& far = to.mcu.ips;
    const auto& near = to.nearMcu.ips;
    m_pReceiver =
        to.tcp ? CreateFileReceiverTCP(*this, to.channel, far[0], far[1], far[2], to.mcu.port, near[0], near[1],
                                       near[2], to.nearMcu.port, static_cast<int>(to.proxy.type), to.proxy.host.c_str(),
                                       to.proxy.port, to.proxy.user.c_str(), to.proxy.password.c_str())
               : CreateFileReceiverUDP(*this, to.channel, far[0], far[1], far[2], to.mcu.port, near[0], near[1],
                                       near[2], to.nearMcu.port, to.nearMcu.Empty());
    return m_pReceiver != nullptr;
}

void CSubscribeLink::Release() {
    if (m_pReceiver) m_pReceiver->ReleaseConnections();
    m_pReceiver = nullptr;
}

}  // namespace lumo
