// Subscribes to an audio channel at a server over TCP.
#pragma once

#include "audio/audio_receiver.h"
#include "link/mcu_address.h"
#include "link/tcp_link.h"

#include <atomic>

class CAudioReceiverTCP : public CAudioReceiver, public ITcpClientNotify {
public:
    CAudioReceiverTCP(IAudioReceiverNotify& notify, uint32_t channelID, uint32_t userID);

    void ReleaseConnections() override;
    void SetEnable(bool bEnable) override;
    bool IsEnable() override { return m_bEnable.load(std::memory_order_relaxed); }
    bool IsDisconnected() override { return m_link.Poll() == TcpPoll::Lost; }
    uint32_t GetAudioSinkID() override { return m_ulSinkID.load(std::memory_order_relaxed); }
    /// Dials address 0 of the chosen server. False when the peer MCU has no address or port, or no client was made.
    bool Connect(const CMcuAddress& peer, const CMcuAddress& local, const CProxy& proxy);

    void OnTcpClientNotifyConnected() override;
    bool OnTcpClientNotifyValidate(unsigned long type, const char* data, int length) override;
    bool OnTcpClientNotifyReceivedFrame(const char* data, int length) override;

private:
    void SendControl();

    CTcpLink m_link;
    CMcuAddress m_peerMcu;  // both set before the dial
    CMcuAddress m_localMcu;
    std::atomic<bool> m_bEnable{true};
    std::atomic<uint32_t> m_ulSinkID{0};
};
