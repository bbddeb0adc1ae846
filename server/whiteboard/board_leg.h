// A whiteboard joined to the one at its home server, with the library's own clients.
#pragma once

#include "server/share_leg.h"
#include "whiteboard/local_mcu_wb.h"
#include "whiteboard/wb_session_client_tcp.h"
#include "whiteboard/wb_session_client_udp.h"

/// A session of the stream's channel: messages pass through it by themselves.
class CBoardLeg : public CShareLeg<IWBSessionClientNotify, IWBSessionClient, CLocalMCUWB::CreateWBSessionClientUDP,
                                   CLocalMCUWB::CreateWBSessionClientTCP> {
public:
    using CShareLeg::CShareLeg;
    ~CBoardLeg() override { Close(); }
    void OnWBSessionClientNotifyConnected(unsigned long) override { OnAccepted(); }
};
