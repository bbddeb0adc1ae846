// Publishes an audio channel to a server over UDP.
#pragma once

#include "audio/audio_sender.h"
#include "link/udp_source.h"

class CAudioSenderUDP : public CAudioSender {
public:
    CAudioSenderUDP(IAudioSenderNotify& notify, CAudioChannel& channel);

    void ReleaseConnections() override;
    bool IsStarted() override { return IsWanted() && m_source.SourceID() != 0; }
    bool IsDisconnected() override { return m_source.IsSilent(GetAudioChannelID()); }
    unsigned long GetBufferingFrameCount() override { return 0; }
    void SendAudioData(const char* data, int length) override;
    /// Sends the connect request; false without an address or a port.
    virtual bool Connect(uint32_t ip0, uint32_t ip1, uint32_t ip2, uint16_t port);

    uint32_t GetSenderKey() { return GetAudioSinkID(); }

    /// UDP thread, under the sender table lock.
    void OnReceivedConnectACK(uint32_t sourceID, uint32_t ip, uint16_t port);
    using CAudioSender::OnReceivedStart;
    void OnReceivedStart(uint32_t startParam);
    void OnReceivedStop() override;

private:
    CUdpSource m_source;
};
