// A UDP link to a sink at a peer's local MCU.
#pragma once

#include "link/sink_link.h"
#include "p2p/peer_path.h"

#include <cstdint>

/// Whether receivers of the media in which they may only wait ask their peers; read when one is made. Any thread.
void SetPeersAsked(bool asked);
bool ArePeersAsked();

/// Short-form request along the path that the peer-to-peer manager finds; the clock rests while it negotiates. One that
/// does not ask only waits to be taken.
class CPeerSubscription : public CSinkLink {
public:
    CPeerSubscription(const CMediumRow& medium, uint32_t receiverID) : CSinkLink(medium, receiverID, FarSide::Peer) {}

    /// Before the receiver is known to other threads.
    void SetUser(uint32_t userID) { m_path.SetUser(userID); }
    /// Whether it asks, as at first. Before Start.
    void SetAsking(bool asking) { m_bAsking = asking; }
    void Start();
    /// Nothing goes to address 0 or port 0.
    void SendConnect(uint32_t channelID, uint32_t ip, uint16_t port);
    bool IsSilent(uint32_t channelID);

private:
    CPeerPath m_path;
    bool m_bAsking = true;
};
