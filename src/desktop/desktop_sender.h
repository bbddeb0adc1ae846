// Publishers of a desktop channel: sinks of it that forward to a server, over UDP or TCP.
#pragma once

#include "desktop/desktop_sink.h"
#include "desktop/local_mcu_desktop.h"
#include "link/share_sender_tcp.h"
#include "link/share_sender_udp.h"

/// Its IDesktopSender operations are the sink's of the same names.
class CDesktopSender : public CDesktopSink, public IDesktopSender {
public:
    CDesktopSender(IDesktopSenderNotify& notify, CShareChannel& channel) : CDesktopSink(channel), m_pNotify(&notify) {}

    void ReleaseConnections() override { CDesktopSink::ReleaseConnections(); }
    bool IsDisconnected() override = 0;

protected:
    void NotifyConnected(uint32_t ip) {
        CallApplication([&] { m_pNotify->OnDesktopSenderNotifyConnected(ip); });
    }
    static void LeaveMcu(uint32_t senderKey) {
        if (CLocalMCUDesktop* mcu = GetLocalMCUDesktop()) mcu->RemoveDesktopSenderUDP(senderKey);
    }

private:
    IDesktopSenderNotify* const m_pNotify;  // the application's; outlives the sender
};

using CDesktopSenderUDP = CShareSenderUDP<CDesktopSender>;
using CDesktopSenderTCP = CShareSenderTCP<CDesktopSender>;
