// A share's channel subscribed to at another server, with the library's own receivers.
#pragma once

#include "link/mcu_address.h"
#include "link/work_signal.h"
#include "server/relay_leg.h"
#include "server/stream.h"

#include <atomic>
#include <cstdint>
#include <type_traits>

/// `kMakeUDP` and `kMakeTCP` are the library's factories of the medium's receivers. `kAsksOnce`: a request over UDP is
/// not repeated. The callbacks are the derived class's.
template <class TNotify, class TReceiver, auto kMakeUDP, auto kMakeTCP, bool kAsksOnce = false>
class CShareLeg : public CRelayLeg, public TNotify {
public:
    CShareLeg(CStream& stream, const CMcuAddress& far, bool tcp, std::atomic<bool>& news)
        : m_stream(stream), m_far(far), m_bTcp(tcp), m_news(news) {}

    // There is no nearer server to ask: the request names nobody else.
    bool Open() override {
        bool asked = false;
        if (m_bTcp) {
            auto* receiver = kMakeTCP(*this, m_stream.ChannelID());
            m_pReceiver = receiver;
            asked = receiver && receiver->Connect(m_far, {}, {});
        } else {
            m_pReceiverUDP = kMakeUDP(*this, m_stream.ChannelID());
            m_pReceiver = m_pReceiverUDP;
            asked = m_pReceiverUDP && m_pReceiverUDP->Connect(m_far, {}, false);
        }
        if (!asked) Close();
        return asked;
    }
    void Close() override {
        if (m_pReceiver) m_pReceiver->ReleaseConnections();
        m_pReceiver = nullptr;
        m_pReceiverUDP = nullptr;
        SetUp(false);
    }
    bool IsLost() override {
        if (!m_pReceiverUDP) return !m_pReceiver || m_pReceiver->IsDisconnected();
        if (kAsksOnce && !IsUp()) return true;  // to be made anew
        return m_pReceiverUDP->PollLink();
    }
    uint32_t LastHeard() override { return m_pReceiverUDP ? m_pReceiverUDP->LastHeard() : 0; }
    void AskForSign() override {
        if (!m_pReceiverUDP) return;
        m_pReceiverUDP->KeepAliveSoon();
        m_pReceiverUDP->PollLink();  // sends it
    }

protected:
    void OnFrame(const char* data, int length) { m_stream.OnSourceFrame(data, length); }
    void OnAccepted() {
        SetUp(true);
        m_news.store(true, std::memory_order_release);
        CWorkSignal::Get().Wake();
    }

private:
    using CReceiverUDP = std::remove_pointer_t<std::invoke_result_t<decltype(kMakeUDP), TNotify&, uint32_t>>;

    CStream& m_stream;
    const CMcuAddress m_far;
    const bool m_bTcp;
    std::atomic<bool>& m_news;
    TReceiver* m_pReceiver = nullptr;        // ends by its own release
    CReceiverUDP* m_pReceiverUDP = nullptr;  // the same, when it is one
};
