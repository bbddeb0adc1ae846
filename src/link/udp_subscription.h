// A UDP link to a server's sink.
#pragma once

#include "link/relay_request.h"
#include "link/sink_link.h"

#include <cstdint>

/// Long-form request to the chosen server, on every poll until it answers.
class CUdpSubscription : public CSinkLink {
public:
    CUdpSubscription(const CMediumRow& medium, uint32_t receiverID) : CSinkLink(medium, receiverID, FarSide::Server) {}

    /// Before the receiver is known to other threads.
    void SetUser(uint32_t userID) { m_ulUserID = userID; }
    void SetMcus(const CMcuAddress& peer, const CMcuAddress& local, bool peerOnly) {
        m_request.Set(peer, local, peerOnly);
    }
    void SendConnect(uint32_t channelID);
    bool IsSilent(uint32_t channelID);

private:
    CRelayRequest m_request;
    uint32_t m_ulUserID = 0;
};
