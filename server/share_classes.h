// The library's classes of a share's medium.
#pragma once

#include "link/share_mcu.h"
#include "server/table_classes.h"

template <class TStream, class TLeg>
class CShareClasses : public CTableClasses<CShareMcu::CTables> {
public:
    CShareClasses(CShareMcu& mcu, const CServerLimits& limits) : CTableClasses(mcu.Tables(), limits), m_mcu(mcu) {}

    std::shared_ptr<CStream> MakeStream(uint32_t channelID) override {
        return std::make_shared<TStream>(channelID, Limits());
    }
    std::unique_ptr<CRelayLeg> MakeLeg(CStream& stream, const CMcuAddress& far, bool tcp,
                                       std::atomic<bool>& news) override {
        return std::make_unique<TLeg>(stream, far, tcp, news);
    }
    bool ConnectSink(const CSinkRequest& request) override {
        return m_mcu.ConnectSink(request.receiverID, request.channelID, request.peer.ip, request.peer.port);
    }
    uint32_t AcceptSink(ITcpSession* session, const CSinkRequest& request) override {
        return m_mcu.AcceptSink(session, request.channelID);
    }

private:
    CShareMcu& m_mcu;
};
