// The host's side of a peer's whiteboard client.
#pragma once

#include "link/mcu_sink.h"
#include "lumomedia/whiteboard.h"

class CWBSessionServerUDP;

/// Enters its channel by Join once it is wholly made, and has left it before its destructor begins.
class CWBServerSession : public CWBSession, public CMcuSink {
public:
    explicit CWBServerSession(CWBChannel& channel) : CWBSession(&channel) {}

    void ReleaseConnections() override { LeaveWBChannel(); }
    bool IsDisconnected() override = 0;
    void Join() override { JoinWBChannel(); }
    CSinkInfo Info() override {
        return {wire::Kind::Whiteboard, SessionID(), static_cast<uint32_t>(GetWBChannelID()), 0, 0, false,
                GetFrameLink()};
    }
    /// This object as a UDP session, or null.
    virtual CWBSessionServerUDP* AsUDP() { return nullptr; }
    /// Messages still waiting to go to the client.
    virtual uint32_t GetBufferingFrameCount() = 0;
    uint32_t SessionID() { return static_cast<uint32_t>(GetWBSessionID()); }
};
