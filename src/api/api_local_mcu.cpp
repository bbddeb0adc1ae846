#include "core/session_statistics.h"
#include "core/wide/wide_session.h"
#include "link/callback.h"
#include "link/process/link_registry.h"
#include "lumomedia/local_mcu.h"
#include "lumomedia/statistics.h"
#include "mcu/local_mcu_manager.h"
#include "platform/lumobase/app_log.h"
#include "platform/lumonet/congestion.h"

ILocalMcuMgr* CreateLocalMcuMgr(unsigned short usUDPPort) {
    try {
        auto* manager = new CLocalMCUManager;
        if (manager->Connect(usUDPPort)) return manager;
        COwnRelease own;
        manager->ReleaseConnections();
    } catch (...) {
        AppLog().debug("CreateLocalMcuMgr failed");
    }
    return nullptr;
}

void SetWideSessions(bool bWide) { wide::SetWanted(bWide); }

void SetTcpCongestionControl(const char* szName) {
    try {
        net::SetCongestionControl(szName ? szName : "");
    } catch (...) {
        AppLog().debug("SetTcpCongestionControl failed");
    }
}

bool GetLinkStatistics(unsigned long index, LumoLinkStatistics& statistics) {
    return LinkRegistry().Fill(index, statistics);
}

void GetProcessStatistics(LumoProcessStatistics& statistics) {
    const UdpCounters udp = GetUdpCounters();
    const SessionTotals totals = GetSessionTotals();
    statistics = LumoProcessStatistics();
    statistics.ulLinks = static_cast<unsigned long>(LinkRegistry().Count());
    statistics.ullDatagramsSent = udp.sent;
    statistics.ullDatagramsReceived = udp.received;
    statistics.ullDatagramBytesSent = udp.bytesSent;
    statistics.ullDatagramBytesReceived = udp.bytesReceived;
    statistics.ullDatagramsRefused = udp.refused;
    statistics.ullRetransmitted = totals.retransmitted;
    statistics.ullDuplicates = totals.duplicates;
    statistics.ullFramesDropped = LinkRegistry().FramesDropped();
    statistics.ullLogLinesLost = AppLog().LostLines();
}
