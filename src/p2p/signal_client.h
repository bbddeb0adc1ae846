// The client of a signalling service: one user's connection, over which command packets go to other users.
#pragma once

#include "link/tcp/tcp_link.h"
#include "lumomedia/p2p.h"

#include <atomic>
#include <cstdint>

class CSignalClient final : public ISignalClient, public ITcpClientNotify {
public:
    CSignalClient(ISignalNotify& notify, uint32_t userID);
    CSignalClient(const CSignalClient&) = delete;
    CSignalClient& operator=(const CSignalClient&) = delete;

    /// False when no client was made.
    bool Connect(uint32_t ip, uint16_t port, const CProxyServer& proxy) { return m_link.Dial(this, ip, port, proxy); }

    bool SendCmd(unsigned long ulUserID, const CCmdPacket& cmd) override;
    bool IsDisconnected() override { return m_link.Poll() == TcpPoll::Lost; }
    void ReleaseConnections() override;
    bool IsRefused() override { return m_bReached && !m_bEverTaken && IsDisconnected(); }

    void OnTcpClientNotifyConnected() override;
    void OnTcpClientNotifyDisconnected() override { m_bTaken = false; }
    bool OnTcpClientNotifyValidate(unsigned long type, const char* data, int length) override;
    bool OnTcpClientNotifyReceivedFrame(const char* data, int length) override;

private:
    ~CSignalClient() = default;
    bool Send(uint32_t userID, const CCmdPacket& cmd);

    ISignalNotify* const m_pNotify;  // the application's; outlives this object
    const uint32_t m_ulUserID;
    CTcpLink m_link;
    std::atomic<bool> m_bReached{false};
    std::atomic<bool> m_bEverTaken{false};
    std::atomic<bool> m_bTaken{false};  // the service has answered, and the connection stands
};
