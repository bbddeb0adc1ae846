#include "tools/lumo/media/desktop_links.h"

#include <lumomedia/statistics.h>

#include <algorithm>
#include <utility>

namespace lumo {

IDesktopReceiver* MakeDesktopReceiverTCP(IDesktopReceiverNotify& notify, unsigned long channel, unsigned long far0,
                                         unsigned long far1, unsigned long far2, unsigned short farPort,
                                         unsigned long near0, unsigned long near1, unsigned long near2,
                                         unsigned short nearPort, int, int proxyType, const char* proxyHost,
                                         unsigned short proxyPort, const char* proxyUser, const char* proxyPassword) {
    return CreateDesktopReceiverTCP(notify, channel, far0, far1, far2, farPort, near0, near1, near2, nearPort,
                                    proxyType, proxyHost, proxyPort, proxyUser, proxyPassword);
}

bool CServerLife::Shows() {
    constexpr unsigned char kDesktop = 5;
    const auto& ips = m_server.ips;
    LumoLinkStatistics link{};
    uint64_t packets = 0;
    for (unsigned long i = 0; GetLinkStatistics(i, link); ++i) {
        const bool known = std::find(ips.begin(), ips.end(), link.ulRemoteIP) != ips.end();
        if (link.byKind == kDesktop && known && link.usRemotePort == m_server.port) packets += link.ullPacketsReceived;
    }
    return std::exchange(m_ullPackets, packets) != packets;
}

LinkTimes CDesktopPublishLink::Times() {
    LinkTimes times;
    times.silence = 6000;
    times.unaccepted = 30000;  // the library asks again every second
    return times;
}

bool CDesktopPublishLink::IsDisconnected() {
    if (m_life.Shows() && IsTaken()) OnSignOfLife(CToolLoop::Now());
    return CStreamPublishLink::IsDisconnected();
}

}  // namespace lumo
