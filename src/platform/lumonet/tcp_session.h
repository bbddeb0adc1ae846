// One accepted connection.
#pragma once

#include "platform/lumonet/lumonet.h"
#include "platform/lumonet/tcp_connection.h"

class CTcpServer;

class CTcpSession final : public CTcpConnection, public ITcpSession {
public:
    CTcpSession(std::shared_ptr<CTcpServer> server, uint64_t id, asio::ip::tcp::socket socket, uint32_t ip,
                uint16_t port);

    /// Reactor: reads until the far side has validated.
    void Start() { Begin(); }
    /// Reactor: the application's from now on, until it releases the session. False: it has done so already.
    bool Accept();
    uint64_t ID() const { return m_nID; }

    bool IsDisconnected() override { return IsLost(); }
    void ReleaseConnections() override { Release(); }
    void SendData(const char* data, int length, int mode) override { Send(data, length, mode); }
    void SendNewest(uint64_t key, const char* data, int length) override { SendOnlyNewest(key, data, length); }
    void SetNotify(ITcpSessionNotify* notify) override;
    unsigned long GetSendQueueSize() override { return m_queue.Count(); }
    unsigned long GetSendQueueBytes() override { return m_queue.Bytes(); }
    void ClearSendQueue() override { m_queue.Clear(); }
    unsigned long GetRemoteIP() override { return m_ulIP; }
    unsigned short GetRemotePort() override { return m_usPort; }
    void CloseWhenSent() override { FinishSending(); }
    void SetMaxReceivedFrame(unsigned long bytes) override;
    void SetMaxAge(unsigned long milliseconds) override { m_queue.SetMaxAge(static_cast<uint32_t>(milliseconds)); }
    unsigned long GetAgedFrames() override { return m_queue.Aged(); }
    void SetMaxStall(unsigned long milliseconds) override { SetStallLimit(static_cast<uint32_t>(milliseconds)); }
    void SetKeepsPlace() override { KeepPlace(); }
    const char* GetCongestionControl() override { return CongestionControl(); }

private:
    bool OnValidation(const CTcpValidation& validation) override;
    Verdict OnFrame(const char* data, int length) override;
    void OnLost() override;

    std::shared_ptr<CTcpServer> m_server;  // reactor: until the validation or the end
    const uint64_t m_nID;
    const uint32_t m_ulIP;
    const uint16_t m_usPort;
    bool m_bAccepted = false;  // reactor
    std::atomic<ITcpSessionNotify*> m_pNotify{nullptr};
};
