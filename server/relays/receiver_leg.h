// A leg that is one of the library's own receivers.
#pragma once

#include "link/mcu_address.h"
#include "link/process/work_signal.h"
#include "server/channels/server_channel.h"
#include "server/relays/relay_leg.h"

#include <atomic>
#include <cstdint>

/// The derived class makes the receiver, hears its callbacks, and lets it go before its own destructor ends.
template <class TReceiver, class TReceiverUDP>
class CReceiverLeg : public CRelayLeg {
public:
    CReceiverLeg(CServerChannel& channel, const CMcuAddress& far, bool tcp, std::atomic<bool>& news)
        : m_channel(channel), m_far(far), m_bTcp(tcp), m_news(news) {}

    bool Open() override {
        const bool asked = m_bTcp ? AskTCP(m_far) : AskUDP(m_far);
        if (!asked) Close();
        return asked;
    }
    void Close() override { Release(); }
    uint32_t LastHeard() override { return m_pReceiverUDP ? m_pReceiverUDP->LastHeard() : 0; }
    void AskForSign() override {
        if (!m_pReceiverUDP) return;
        m_pReceiverUDP->KeepAliveSoon();
        PollReceiver(*m_pReceiverUDP);  // sends it
    }

protected:
    /// Makes the receiver and lets it ask. The far server is the publisher's, so the request names no other.
    virtual bool AskTCP(const CMcuAddress& far) = 0;
    virtual bool AskUDP(const CMcuAddress& far) = 0;
    /// The poll of every second: sends what is due. True when the leg is lost.
    virtual bool PollReceiver(TReceiverUDP& receiver) = 0;

    void OnAccepted() {
        SetUp(true);
        m_news.store(true, std::memory_order_release);
        CWorkSignal::Get().Wake();
    }
    void Release() {
        if (m_pReceiver) m_pReceiver->ReleaseConnections();
        m_pReceiver = nullptr;
        m_pReceiverUDP = nullptr;
        SetUp(false);
    }

    CServerChannel& m_channel;
    TReceiver* m_pReceiver = nullptr;        // ends by its own release
    TReceiverUDP* m_pReceiverUDP = nullptr;  // the same, when it is one

private:
    const CMcuAddress m_far;
    const bool m_bTcp;
    std::atomic<bool>& m_news;
};
