// The library's classes of a share's medium.
#pragma once

#include "link/share_mcu.h"
#include "server/table_classes.h"

template <class TStream, class TLeg>
class CShareClasses : public CTableClasses<CShareMcu::CTables, TStream, TLeg> {
public:
    CShareClasses(CShareMcu& mcu, const CServerLimits& limits)
        : CShareClasses::CTableClasses(mcu.Tables(), limits), m_mcu(mcu) {}

    bool ConnectSink(ChannelKey channel, const CSinkRequest& request) override {
        return m_mcu.ConnectSink(request.receiverID, channel, request.peer.ip, request.peer.port);
    }
    uint32_t AcceptSink(ChannelKey channel, ITcpSession* session, const CSinkRequest&) override {
        return m_mcu.AcceptSink(session, channel);
    }

private:
    CShareMcu& m_mcu;
};
