// Receives an audio channel from a peer's local MCU over UDP.
#pragma once

#include "audio/audio_receiver_datagrams.h"
#include "p2p/peer_subscription.h"

/// Waits to be taken, or asks the peer when this process was told to (SetP2PSubscribe).
class CAudioReceiverP2P : public CAudioReceiverDatagrams {
public:
    CAudioReceiverP2P(IAudioReceiverNotify& notify, uint32_t channelID, uint32_t userID);

    /// Enters the local MCU's table, and begins to look for the path if it is to ask.
    virtual bool Connect();
    bool IsDisconnected() override { return m_subscription.IsSilent(GetAudioChannelID()); }

private:
    CPeerSubscription m_subscription;
};
