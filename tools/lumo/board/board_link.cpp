#include "tools/lumo/board/board_link.h"

#include "tools/lumo/net/peer_host.h"

namespace lumo {

LinkTimes CBoardLink::Times() {
    LinkTimes times;
    times.silence = 8000;  // four greetings without an acknowledgement
    times.unaccepted = 6000;
    return times;
}

bool CBoardLink::Create() {
    m_ullPackets = 0;
    m_pClient = MakeClient(*this);
    return m_pClient != nullptr;
}

void CBoardLink::Release() {
    if (m_pClient) m_pClient->ReleaseConnections();
    m_pClient = nullptr;
}

// Over TCP the kernel tells of a far side that has gone.
void CBoardLink::LookForLife(uint64_t now) {
    if (!IsTaken()) return;
    uint64_t packets = 0;
    for (const LumoLinkStatistics& link : Links()) packets += link.ullPacketsReceived;
    if (packets != m_ullPackets || IsTcp()) OnSignOfLife(now);
    m_ullPackets = packets;
}

IWBSessionClient* CBoardRelayLink::MakeClient(::IWBSessionClientNotify& notify) {
    const RelayRoute& to = m_route;
    const auto& far = to.mcu.ips;
    const auto& near = to.nearMcu.ips;
    return to.tcp ? CreateWBSessionClientTCP(notify, to.channel, far[0], far[1], far[2], to.mcu.port, near[0], near[1],
                                             near[2], to.nearMcu.port, static_cast<int>(to.proxy.type),
                                             to.proxy.host.c_str(), to.proxy.port, to.proxy.user.c_str(),
                                             to.proxy.password.c_str())
                  : CreateWBSessionClientUDP(notify, to.channel, far[0], far[1], far[2], to.mcu.port, near[0], near[1],
                                             near[2], to.nearMcu.port, to.nearMcu.Empty());
}

std::vector<LumoLinkStatistics> CBoardRelayLink::Links() const {
    std::vector<LumoLinkStatistics> links;
    if (m_route.tcp) return links;
    LumoLinkStatistics link{};
    for (unsigned long i = 0; GetLinkStatistics(i, link); ++i) {
        for (const RelayTarget* server : {&m_route.mcu, &m_route.nearMcu}) {
            if (link.byKind == kBoardKind && LeadsTo(link, *server)) links.push_back(link);
        }
    }
    return links;
}

IWBSessionClient* CBoardPeerLink::MakeClient(::IWBSessionClientNotify& notify) {
    return m_route.tcp ? CreateWBSessionClientP2PTCP(notify, m_route.channel, m_route.userID)
                       : CreateWBSessionClientP2P(notify, m_route.channel, m_route.userID);
}

std::vector<LumoLinkStatistics> CBoardPeerLink::Links() const {
    return m_route.tcp ? std::vector<LumoLinkStatistics>() : CPeerHost::LinksWith(m_route.userID);
}

}  // namespace lumo
