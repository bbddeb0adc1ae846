// A UDP link to a server's sink.
#pragma once

#include "link/sink_link.h"

#include <cstdint>

/// Long-form request to the chosen server, on every poll until it answers.
class CUdpSubscription : public CSinkLink {
public:
    using CSinkLink::CSinkLink;

    /// Before the receiver is known to other threads.
    void SetUser(uint32_t userID) { m_ulUserID = userID; }
    void SetMcus(const CMcuAddress& peer, const CMcuAddress& local, bool peerOnly);
    void SendConnect(uint32_t channelID);
    bool IsSilent(uint32_t channelID);

private:
    CMcuAddress m_peerMcu;
    CMcuAddress m_localMcu;
    bool m_bPeerMCUOnly = true;
    uint32_t m_ulUserID = 0;
};
