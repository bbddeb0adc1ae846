// What the whiteboard clients that speak datagrams share: all but how they reach a session at the far side.
#pragma once

#include "link/frame_link.h"
#include "link/sink_link.h"
#include "lumomedia/whiteboard.h"

/// The sink link belongs to the derived class and is used only after it is made. Messages wait until the far side has
/// answered.
class CWBClientUDP : public CFrameLink, public CWBSession, public IWBSessionClient {
public:
    void ReleaseConnections() override;
    bool IsDisconnected() override { return PollLink(); }
    bool PollLink() { return IsSilent() || IsOverLimit(); }
    void SendWBSessionData(const char* data, int len) override;

    virtual uint32_t GetServerSessionID() { return m_sinkLink.SinkID(); }
    /// UDP thread, under the client table lock.
    virtual void OnReceivedKeepAliveACK(uint32_t serverSessionID, uint32_t ip, uint16_t port);
    virtual void OnReceivedConnectACK(uint32_t serverSessionID, uint32_t ip, uint16_t port);
    virtual void OnReceivedFrame(uint32_t serverSessionID, const char* packet, int length, uint32_t ip, uint16_t port);
    virtual void SendDisconnect() { m_sinkLink.SendGoodbye(); }

    /// When the far side last gave a sign of life, and a way to ask it for one with the next poll.
    uint32_t LastHeard() const { return m_sinkLink.LastHeard(); }
    void KeepAliveSoon() { m_sinkLink.KeepAliveSoon(); }

    CFrameLink* GetFrameLink() { return this; }
    void OnSCTPSessionReceivedFrame(char* data, int length) override { OnWBSessionData(data, length); }
    void SendSCTPData(char* packet, int length) override;

protected:
    CWBClientUDP(IWBSessionClientNotify& notify, CWBChannel& channel, CSinkLink& sinkLink);

    /// Joins the channel and enters the client table, in this order: what the far side says needs an answer. False when
    /// the session cannot be opened.
    bool Start();
    virtual bool IsSilent() = 0;
    void DescribeLink(LumoLinkStatistics& statistics) const override;

private:
    CSinkLink& m_sinkLink;
    IWBSessionClientNotify* const m_pNotify;  // the application's; outlives the client
};
