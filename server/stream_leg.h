// A channel of a stream that starts and stops, subscribed to at another server with the library's own receivers.
#pragma once

#include "link/mcu_address.h"
#include "link/work_signal.h"
#include "server/relay_leg.h"
#include "server/stream.h"

/// TMedium names the medium's IReceiver, CReceiverUDP, CReceiverTCP and INotify. What arrives is the derived class's.
template <class TMedium>
class CStreamLeg : public CRelayLeg, public TMedium::INotify {
public:
    CStreamLeg(CStream& stream, const CMcuAddress& far, bool tcp, std::atomic<bool>& news)
        : m_stream(stream), m_far(far), m_bTcp(tcp), m_news(news) {}
    ~CStreamLeg() override { Release(); }

    // There is no nearer server to ask: the request names nobody else.
    bool Open() override {
        bool asked = false;
        if (m_bTcp) {
            auto* receiver = new typename TMedium::CReceiverTCP(*this, m_stream.ChannelID(), kNoUser);
            m_pReceiver = receiver;
            asked = receiver->Connect(m_far, {}, {});
        } else {
            auto* receiver = new typename TMedium::CReceiverUDP(*this, m_stream.ChannelID(), kNoUser);
            m_pReceiver = m_pReceiverUDP = receiver;
            asked = receiver->Connect(m_far, {});
        }
        if (!asked) Close();
        return asked;
    }
    void Close() override { Release(); }
    bool IsLost() override { return !m_pReceiver || m_pReceiver->IsDisconnected(); }
    void Follow(bool wanted) override {
        if (m_pReceiver && m_pReceiver->IsEnable() != wanted) m_pReceiver->SetEnable(wanted);
    }
    uint32_t LastHeard() override { return m_pReceiverUDP ? m_pReceiverUDP->LastHeard() : 0; }
    void AskForSign() override {
        if (!m_pReceiverUDP) return;
        m_pReceiverUDP->KeepAliveSoon();
        m_pReceiverUDP->IsDisconnected();  // the poll that sends it
    }

    void OnConnected(unsigned long) override {
        SetUp(true);
        m_news.store(true, std::memory_order_release);
        CWorkSignal::Get().Wake();
    }

protected:
    CStream& m_stream;
    typename TMedium::IReceiver* m_pReceiver = nullptr;  // ends by its own release

private:
    static constexpr uint32_t kNoUser = 0;  // the subscription is the server's own

    void Release() {
        if (m_pReceiver) m_pReceiver->ReleaseConnections();
        m_pReceiver = nullptr;
        m_pReceiverUDP = nullptr;
        SetUp(false);
    }

    const CMcuAddress m_far;
    const bool m_bTcp;
    std::atomic<bool>& m_news;
    typename TMedium::CReceiverUDP* m_pReceiverUDP = nullptr;  // the same, when it is one
};
