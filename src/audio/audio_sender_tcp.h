// Publishes an audio channel to a server over TCP.
#pragma once

#include "audio/audio_sender.h"
#include "link/tcp_link.h"

class CAudioSenderTCP : public CAudioSender, public ITcpClientNotify {
public:
    CAudioSenderTCP(IAudioSenderNotify& notify, CAudioChannel& channel);

    void ReleaseConnections() override;
    bool IsStarted() override { return IsWanted() && m_link.Client() != nullptr; }
    bool IsDisconnected() override { return m_link.Poll() == TcpPoll::Lost; }
    unsigned long GetBufferingFrameCount() override { return m_link.QueuedFrames(); }
    void SendAudioData(const char* data, int length) override;
    /// Dials address 0 and only that; the others serve the test for any address at all.
    bool Connect(uint32_t ip0, uint32_t ip1, uint32_t ip2, uint16_t port, const CProxy& proxy);

    void OnTcpClientNotifyConnected() override;
    bool OnTcpClientNotifyValidate(unsigned long type, const char* data, int length) override;
    bool OnTcpClientNotifyReceivedFrame(const char* data, int length) override;

private:
    CTcpLink m_link;
};
