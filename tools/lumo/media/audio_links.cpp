#include "tools/lumo/media/audio_links.h"

#include "tools/lumo/net/path_choice.h"
#include "tools/lumo/net/peer_host.h"

namespace lumo {
namespace {

/// Nobody answers a publisher: the library alone tells when the server has gone.
LinkTimes PublishTimes() {
    LinkTimes times;
    times.silence = times.unaccepted = UINT64_MAX / 4;
    return times;
}

}  // namespace

CAudioPublishLink::CAudioPublishLink(const RelayRoute& route, CInbox& inbox)
    : CLink(inbox, PublishTimes()), m_route(route) {}

bool CAudioPublishLink::Create() {
    const auto& ips = m_route.mcu.ips;
    const ProxySettings& proxy = m_route.proxy;
    m_pSender = m_route.tcp ? CreateAudioSenderTCP(*this, m_route.channel, ips[0], ips[1], ips[2], m_route.mcu.port,
                                                   static_cast<int>(proxy.type), proxy.host.c_str(), proxy.port,
                                                   proxy.user.c_str(), proxy.password.c_str())
                            : CreateAudioSenderUDP(*this, m_route.channel, ips[0], ips[1], ips[2], m_route.mcu.port);
    return m_pSender != nullptr;
}

void CAudioPublishLink::Release() {
    if (m_pSender) m_pSender->ReleaseConnections();
    m_pSender = nullptr;
}

bool CAudioSubscribeLink::Create() {
    const auto& far = m_route.mcu.ips;
    const auto& near = m_route.nearMcu.ips;
    const ProxySettings& proxy = m_route.proxy;
    if (m_bPeer)
        m_pReceiver = CreateAudioReceiverP2P(*this, m_route.channel, SenderUser(m_route.channel));
    else if (m_route.tcp)
        m_pReceiver =
            CreateAudioReceiverTCP(*this, m_route.channel, far[0], far[1], far[2], m_route.mcu.port, near[0], near[1],
                                   near[2], m_route.nearMcu.port, 0, static_cast<int>(proxy.type), proxy.host.c_str(),
                                   proxy.port, proxy.user.c_str(), proxy.password.c_str());
    else
        m_pReceiver = CreateAudioReceiverUDP(*this, m_route.channel, far[0], far[1], far[2], m_route.mcu.port, near[0],
                                             near[1], near[2], m_route.nearMcu.port, 0);
    return m_pReceiver != nullptr;
}

// A failed negotiation is over at once, not when its time is.
bool CAudioSubscribeLink::IsDisconnected() {
    return m_pReceiver->IsDisconnected() || (m_bPeer && CPeerHost::InVain(SenderUser(m_route.channel), IsTaken()));
}

void CAudioSubscribeLink::Release() {
    if (m_pReceiver) m_pReceiver->ReleaseConnections();
    m_pReceiver = nullptr;
}

}  // namespace lumo
