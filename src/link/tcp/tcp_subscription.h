// A TCP link to a server's sink.
#pragma once

#include "link/relay_request.h"
#include "link/tcp/tcp_link.h"

#include <atomic>
#include <cstdint>

/// Dials the chosen server, asks for a channel with the long request, and says whether the stream is wanted, at once
/// and on idle polls.
class CTcpSubscription : public CTcpLink {
public:
    explicit CTcpSubscription(const CMediumRow& medium);

    /// Address 0 of the chosen server. False when the publisher's has no address or port, or no client was made.
    bool DialMcu(ITcpClientNotify* notify, const CMcuAddress& publishers, const CMcuAddress& near,
                 const CProxyServer& proxy);
    /// Once connected.
    void Ask(uint32_t channelID, uint32_t userID);
    /// The server's answer: channel ID and sink ID. False when the message is no such answer.
    bool ReadAnswer(const char* data, int length, uint32_t channelID);
    void SetEnable(bool enable);
    bool IsEnabled() const { return m_bEnable.load(std::memory_order_relaxed); }
    /// Sends the control byte of the present state.
    void SayState();
    uint32_t SinkID() const { return m_ulSinkID.load(std::memory_order_relaxed); }

private:
    const CMediumRow& m_medium;
    CRelayRequest m_request;
    std::atomic<bool> m_bEnable{true};
    std::atomic<uint32_t> m_ulSinkID{0};
};
