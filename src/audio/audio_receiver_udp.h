// Subscribes to an audio channel at a server over UDP.
#pragma once

#include "audio/audio_receiver_datagrams.h"
#include "link/udp_subscription.h"

class CAudioReceiverUDP : public CAudioReceiverDatagrams {
public:
    CAudioReceiverUDP(IAudioReceiverNotify& notify, uint32_t channelID, uint32_t userID);

    /// Enters the local MCU's table and sends the connect request.
    virtual bool Connect(const CMcuAddress& peer, const CMcuAddress& local);
    virtual void SendConnect() { m_subscription.SendConnect(GetAudioChannelID()); }
    bool IsDisconnected() override { return m_subscription.IsSilent(GetAudioChannelID()); }

private:
    CUdpSubscription m_subscription;
};
