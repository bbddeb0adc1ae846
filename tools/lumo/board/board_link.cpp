#include "tools/lumo/board/board_link.h"

#include "tools/lumo/net/peer_host.h"

#include <algorithm>

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

// Over TCP nothing is counted, and the kernel tells of a far side that has gone.
void CBoardLink::LookForLife(uint64_t now) {
    if (!IsTaken()) return;
    const uint64_t packets = Packets();
    if (packets != m_ullPackets || packets == UINT64_MAX) OnSignOfLife(now);
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

uint64_t CBoardRelayLink::Packets() const {
    if (m_route.tcp) return UINT64_MAX;
    uint64_t packets = 0;
    LumoLinkStatistics link{};
    for (unsigned long i = 0; GetLinkStatistics(i, link); ++i) {
        for (const RelayTarget* server : {&m_route.mcu, &m_route.nearMcu}) {
            const bool there = std::find(server->ips.begin(), server->ips.end(), link.ulRemoteIP) != server->ips.end();
            if (there && link.usRemotePort == server->port) packets += link.ullPacketsReceived;
        }
    }
    return packets;
}

IWBSessionClient* CBoardPeerLink::MakeClient(::IWBSessionClientNotify& notify) {
    return m_route.tcp ? CreateWBSessionClientP2PTCP(notify, m_route.channel, m_route.userID)
                       : CreateWBSessionClientP2P(notify, m_route.channel, m_route.userID);
}

uint64_t CBoardPeerLink::Packets() const { return m_route.tcp ? UINT64_MAX : CPeerHost::PacketsFrom(m_route.userID); }

}  // namespace lumo
