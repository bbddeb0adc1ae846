// A desktop channel subscribed to at another server.
#pragma once

#include "desktop/desktop_receiver_udp.h"
#include "server/share_leg.h"

class CDesktopLeg
    : public CShareLeg<IDesktopReceiverNotify, IDesktopReceiver, CLocalMCUDesktop::CreateReceiver<CDesktopReceiverUDP>,
                       CLocalMCUDesktop::CreateReceiver<CDesktopReceiverTCP>, true> {
public:
    using CShareLeg::CShareLeg;
    ~CDesktopLeg() override { Close(); }

    void OnDesktopReceiverNotifyData(const char* data, int length) override { OnFrame(data, length); }
    void OnDesktopReceiverNotifyConnected(unsigned long) override { OnAccepted(); }
};
