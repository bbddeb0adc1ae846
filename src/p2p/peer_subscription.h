// A UDP link to a sink at a peer's local MCU.
#pragma once

#include "link/udp/udp_subscriber_link.h"
#include "p2p/peer_path.h"

#include <cstdint>

/// Whether receivers of the media in which they may only wait ask their peers; read when one is made. Any thread.
void SetPeersAsked(bool asked);
bool ArePeersAsked();

/// Short-form request along the path that the peer-to-peer manager finds; the time-out does not run while that
/// negotiates. A subscription that does not ask only waits for an acknowledgement.
class CPeerSubscription : public CUdpSubscriberLink {
public:
    CPeerSubscription(const CMediumRow& medium, uint32_t receiverID)
        : CUdpSubscriberLink(medium, receiverID, FarSide::Peer) {}

    /// Before the receiver is known to other threads.
    void SetUser(uint32_t userID) { m_path.SetUser(userID); }
    /// Whether it asks, as at first. Before Start.
    void SetAsking(bool asking) { m_bAsking = asking; }
    void Start();
    /// Nothing goes to address 0 or port 0.
    void SendConnect(uint32_t channelID, uint32_t ip, uint16_t port);
    /// The application's poll: asks for the sink until it answers, then keeps it alive. True when silent for too long.
    bool Poll(uint32_t channelID);

private:
    CPeerPath m_path;
    bool m_bAsking = true;
};
