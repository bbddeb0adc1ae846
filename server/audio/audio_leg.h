// An audio channel subscribed to at another server, with the library's own receivers.
#pragma once

#include "link/mcu_address.h"
#include "lumomedia/audio.h"
#include "server/relay_leg.h"

class CAudioReceiverUDP;
class CStream;

class CAudioLeg : public CRelayLeg, public IAudioReceiverNotify {
public:
    CAudioLeg(CStream& stream, const CMcuAddress& far, bool tcp, std::atomic<bool>& news)
        : m_stream(stream), m_far(far), m_bTcp(tcp), m_news(news) {}
    ~CAudioLeg() override { Close(); }

    bool Open() override;
    void Close() override;
    bool IsLost() override { return !m_pReceiver || m_pReceiver->IsDisconnected(); }
    void Follow(bool wanted) override;
    uint32_t LastHeard() override;
    void AskForSign() override;

    void OnAudioData(const char* data, int length) override;
    void OnConnected(unsigned long ip) override;

private:
    CStream& m_stream;
    const CMcuAddress m_far;
    const bool m_bTcp;
    std::atomic<bool>& m_news;
    IAudioReceiver* m_pReceiver = nullptr;        // ends by its own release
    CAudioReceiverUDP* m_pReceiverUDP = nullptr;  // the same, when it is one
};
