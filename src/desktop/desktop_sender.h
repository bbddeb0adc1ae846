// Publishers of a desktop channel: sinks of it that forward to a server, over UDP or TCP.
#pragma once

#include "desktop/desktop_sink.h"
#include "desktop/local_mcu_desktop.h"
#include "link/share/share_sender_tcp.h"
#include "link/share/share_sender_udp.h"

class CDesktopSender : public CShareSenderOf<CDesktopSink, IDesktopSender, IDesktopSenderNotify> {
public:
    using CShareSenderOf::CShareSenderOf;

protected:
    void NotifyConnected(uint32_t ip) {
        CallApplication([&] { m_pNotify->OnDesktopSenderNotifyConnected(ip); });
    }
    static void LeaveMcu(uint32_t senderKey) {
        if (CLocalMCUDesktop* mcu = GetLocalMCUDesktop()) mcu->RemoveDesktopSenderUDP(senderKey);
    }
};

using CDesktopSenderUDP = CShareSenderUDP<CDesktopSender>;
using CDesktopSenderTCP = CShareSenderTCP<CDesktopSender>;
