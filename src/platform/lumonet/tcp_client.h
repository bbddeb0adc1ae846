// An outgoing connection: dial, perhaps through a proxy, validation, frames.
#pragma once

#include "platform/lumonet/lumonet.h"
#include "platform/lumonet/proxy_dialler.h"
#include "platform/lumonet/tcp_connection.h"

#include <optional>

class CTcpClient final : public CTcpConnection, public ITcpClient {
public:
    CTcpClient(ITcpClientNotify* notify, uint32_t ip, uint16_t port);
    /// Starts to dial, through the proxy if one is given. True: the object is the caller's until ReleaseConnections.
    bool Dial(const std::optional<CProxyServer>& proxy);

    bool IsDisconnected() override { return IsLost(); }
    void ReleaseConnections() override { Release(); }
    void SendData(const char* data, int length, int mode) override { Send(data, length, mode); }
    void SendNewest(uint64_t key, const char* data, int length) override { SendOnlyNewest(key, data, length); }
    unsigned long GetSendQueueSize() override { return m_queue.Count(); }
    unsigned long GetSendQueueBytes() override { return m_queue.Bytes(); }
    void Reserved() override {}
    unsigned long GetRemoteIP() override { return m_ulIP; }
    void ClearSendQueue() override { m_queue.Clear(); }
    void SetMaxAge(unsigned long milliseconds) override { m_queue.SetMaxAge(static_cast<uint32_t>(milliseconds)); }
    uint64_t GetReceivedBytes() override { return ReceivedBytes(); }
    const char* GetCongestionControl() override { return CongestionControl(); }

private:
    bool OnValidation(const CTcpValidation& validation) override;
    Verdict OnFrame(const char* data, int length) override;
    void OnLost() override;

    bool Adopt(CFileDescriptor socket);
    void DialDirectly();
    void DialThrough(const CProxyServer& proxy);
    void OnProxyDialled(CFileDescriptor socket);
    void OnConnected();

    ITcpClientNotify* const m_pNotify;
    const uint32_t m_ulIP;
    const uint16_t m_usPort;
    CProxyDial m_proxyDial;  // reactor
};
