// What the audio receivers that speak datagrams share: all but how they reach a sink.
#pragma once

#include "audio/audio_receiver.h"
#include "link/sink_link.h"

/// The sink link belongs to the derived class and is used only after it is made.
class CAudioReceiverDatagrams : public CAudioReceiver, public IAudioDatagramReceiver {
public:
    void ReleaseConnections() override;
    void SetEnable(bool bEnable) override { m_sinkLink.SetEnable(bEnable); }
    bool IsEnable() override { return m_sinkLink.IsEnabled(); }
    uint32_t GetAudioSinkID() override { return m_sinkLink.SinkID(); }
    void OnReceivedStartACK(uint32_t sinkID, uint32_t ip, uint16_t port) override;
    void OnReceivedStopACK(uint32_t sinkID, uint32_t ip, uint16_t port) override;
    void OnReceivedConnectACK(uint32_t sinkID, uint32_t ip, uint16_t port) override;
    void OnReceivedFrame(uint32_t sinkID, const char* data, int length, uint32_t ip, uint16_t port) override;
    virtual void SendDisconnect() { m_sinkLink.SendGoodbye(); }

    /// When the far side last gave a sign of life, and a way to ask it for one with the next poll.
    uint32_t LastHeard() const { return m_sinkLink.LastHeard(); }
    void KeepAliveSoon() { m_sinkLink.KeepAliveSoon(); }
    IAudioDatagramReceiver* AsDatagramReceiver() override { return this; }

protected:
    CAudioReceiverDatagrams(IAudioReceiverNotify& notify, uint32_t channelID, uint32_t userID, CSinkLink& sinkLink)
        : CAudioReceiver(notify, channelID, userID), m_sinkLink(sinkLink) {}

    static const CSinkLinkProfile kProfile;
    /// Enters the local MCU's table.
    void Register();

private:
    CSinkLink& m_sinkLink;
};
