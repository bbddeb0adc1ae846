// The library's classes of a medium whose subscribers say start and stop.
#pragma once

#include "server/table_classes.h"

template <class TMcu, class TStream, class TLeg, class TSinkTCP>
class CStreamClasses : public CTableClasses<typename TMcu::CTables, TStream, TLeg> {
public:
    CStreamClasses(TMcu& mcu, const CServerLimits& limits)
        : CStreamClasses::CTableClasses(mcu.Tables(), limits), m_mcu(mcu) {}

    bool ConnectSink(ChannelKey channel, const CSinkRequest& request) override {
        return m_mcu.ConnectSink(request.receiverID, channel, request.userID, request.peer.ip, request.peer.port);
    }
    uint32_t AcceptSink(ChannelKey channel, ITcpSession* session, const CSinkRequest& request) override {
        return m_mcu.template AcceptSink<TSinkTCP>(session, channel, request.userID);
    }

private:
    TMcu& m_mcu;
};
