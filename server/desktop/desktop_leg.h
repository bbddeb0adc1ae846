// A desktop channel subscribed to at another server.
#pragma once

#include "desktop/desktop_receiver_udp.h"
#include "server/share_leg.h"

struct CDesktopLegParts {
    using INotify = IDesktopReceiverNotify;
    using IReceiver = IDesktopReceiver;
    using CReceiverUDP = CDesktopReceiverUDP;
    static constexpr bool kAsksOnce = true;
    static CDesktopReceiverUDP* MakeUDP(INotify& notify, uint32_t channelID) {
        return CLocalMCUDesktop::CreateReceiver<CDesktopReceiverUDP>(notify, channelID);
    }
    static CDesktopReceiverTCP* MakeTCP(INotify& notify, uint32_t channelID) {
        return CLocalMCUDesktop::CreateReceiver<CDesktopReceiverTCP>(notify, channelID);
    }
};

class CDesktopLeg : public CShareLeg<CDesktopLegParts> {
public:
    using CShareLeg::CShareLeg;
    ~CDesktopLeg() override { Close(); }

    void OnDesktopReceiverNotifyData(const char* data, int length) override { OnFrame(data, length); }
    void OnDesktopReceiverNotifyConnected(unsigned long) override { OnAccepted(); }
};
