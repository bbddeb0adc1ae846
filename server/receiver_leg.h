// A leg that is one of the library's own receivers.
#pragma once

#include "link/mcu_address.h"
#include "link/work_signal.h"
#include "server/relay_leg.h"
#include "server/stream.h"

#include <atomic>
#include <cstdint>

/// The derived class makes the receiver, hears its callbacks, and lets it go before its own destructor ends.
template <class TReceiver, class TReceiverUDP>
class CReceiverLeg : public CRelayLeg {
public:
    CReceiverLeg(CStream& stream, const CMcuAddress& far, bool tcp, std::atomic<bool>& news)
        : m_stream(stream), m_far(far), m_bTcp(tcp), m_news(news) {}

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
        Poll(*m_pReceiverUDP);  // sends it
    }

protected:
    /// Makes the receiver and lets it ask. There is no nearer server to ask: the request names nobody else.
    virtual bool AskTCP(const CMcuAddress& far) = 0;
    virtual bool AskUDP(const CMcuAddress& far) = 0;
    /// The poll of every second. True when it is lost.
    virtual bool Poll(TReceiverUDP& receiver) = 0;

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

    CStream& m_stream;
    TReceiver* m_pReceiver = nullptr;        // ends by its own release
    TReceiverUDP* m_pReceiverUDP = nullptr;  // the same, when it is one

private:
    const CMcuAddress m_far;
    const bool m_bTcp;
    std::atomic<bool>& m_news;
};
