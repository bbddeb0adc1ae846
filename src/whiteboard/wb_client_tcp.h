// What the whiteboard clients that speak TCP share: all but whom they dial.
#pragma once

#include "link/tcp_link.h"
#include "lumomedia/whiteboard.h"

class CWBClientTCP : public CWBSession, public ITcpClientNotify, public IWBSessionClient {
public:
    void ReleaseConnections() override;
    bool IsDisconnected() override { return m_link.Poll() == TcpPoll::Lost; }
    void SendWBSessionData(const char* data, int len) override;

    void OnTcpClientNotifyConnected() override;
    bool OnTcpClientNotifyValidate(unsigned long type, const char* data, int length) override;
    bool OnTcpClientNotifyReceivedFrame(const char* data, int length) override;

protected:
    CWBClientTCP(IWBSessionClientNotify& notify, CWBChannel& channel);

    /// False when no client could be made.
    bool Dial(uint32_t ip, uint16_t port, const CProxyServer& proxy);
    /// The payload of the validation message.
    virtual wire::CDatagram Request() = 0;

    CTcpLink m_link;

private:
    IWBSessionClientNotify* const m_pNotify;  // the application's; outlives the client
};
