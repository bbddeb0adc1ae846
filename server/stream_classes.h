// The library's classes of a medium whose subscribers say start and stop.
#pragma once

#include "server/table_classes.h"

template <class TMcu, class TStream, class TLeg, class TSinkTCP>
class CStreamClasses : public CTableClasses<typename TMcu::CTables, TStream, TLeg> {
public:
    CStreamClasses(TMcu& mcu, const CServerLimits& limits)
        : CStreamClasses::CTableClasses(mcu.Tables(), limits), m_mcu(mcu) {}

    bool ConnectSink(const CSinkRequest& request) override {
        return m_mcu.ConnectSink(request.receiverID, request.channelID, request.userID, request.peer.ip,
                                 request.peer.port);
    }
    uint32_t AcceptSink(ITcpSession* session, const CSinkRequest& request) override {
        return m_mcu.template AcceptSink<TSinkTCP>(session, request.channelID, request.userID);
    }

private:
    TMcu& m_mcu;
};
