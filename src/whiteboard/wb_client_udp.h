// The whiteboard clients that speak datagrams.
#pragma once

#include "link/callback.h"
#include "link/udp/frame_link.h"
#include "link/udp/udp_subscriber_link.h"
#include "lumomedia/whiteboard.h"
#include "p2p/peer_subscription.h"

/// What the whiteboard clients that speak datagrams share: all but how they reach a session at the far side.
/// The subscriber link belongs to the derived class and is used only after it is made. Messages wait until the far side
/// has answered.
class CWBClientUDP : public CWBSession, public IWBSessionClient, private ILinkOwner {
public:
    void ReleaseConnections() override;
    bool IsDisconnected() override { return PollLink(); }
    bool PollLink() { return PollSubscription() || m_frames.IsOverLimit(); }
    void SendWBSessionData(const char* data, int len) override;

    virtual uint32_t GetServerSessionID() { return m_subscriberLink.SinkID(); }
    /// UDP thread, under the client table lock.
    virtual void OnReceivedKeepAliveACK(uint32_t serverSessionID, uint32_t ip, uint16_t port);
    virtual void OnReceivedConnectACK(uint32_t serverSessionID, uint32_t ip, uint16_t port);
    virtual void OnReceivedFrame(uint32_t serverSessionID, const char* packet, int length, uint32_t ip, uint16_t port);
    virtual void SendDisconnect() { m_subscriberLink.SendGoodbye(); }

    /// When the far side last gave a sign of life, and a way to ask it for one with the next poll.
    uint32_t LastHeard() const { return m_subscriberLink.LastHeard(); }
    void KeepAliveSoon() { m_subscriberLink.KeepAliveSoon(); }

    CFrameLink* GetFrameLink() { return &m_frames; }

protected:
    CWBClientUDP(IWBSessionClientNotify& notify, CWBChannel& channel, CUdpSubscriberLink& subscriberLink);

    /// Joins the channel and enters the client table, in this order: what the far side says needs an answer. False when
    /// the session cannot be opened.
    bool Start();
    /// Polls the subscription; true when the far side has been silent for too long.
    virtual bool PollSubscription() = 0;

private:
    /// The board is the application's.
    void OnSCTPSessionReceivedFrame(char* data, int length) override {
        CallApplication([&] { OnWBSessionData(data, length); });
    }
    void SendSCTPData(char* packet, int length) override;
    void DescribeLink(LumoLinkStatistics& statistics) const override { m_subscriberLink.Describe(statistics); }

    CFrameLink m_frames{*this};
    CUdpSubscriberLink& m_subscriberLink;
    IWBSessionClientNotify* const m_pNotify;  // the application's; outlives the client
};

/// Joins a whiteboard channel to the one at a server over UDP.
class CWBSessionClientUDP : public CWBClientUDP {
public:
    CWBSessionClientUDP(IWBSessionClientNotify& notify, CWBChannel& channel);

    /// Sends the connect request; false when the session could not be opened.
    virtual bool Connect(const CMcuAddress& publishers, const CMcuAddress& near, bool publishersOnly);
    virtual void SendConnect() { m_subscription.SendConnect(static_cast<uint32_t>(GetWBChannelID())); }

protected:
    bool PollSubscription() override { return m_subscription.Poll(static_cast<uint32_t>(GetWBChannelID())); }

private:
    CUdpSubscription m_subscription;
};

/// Joins a whiteboard channel to the one at a peer's local MCU over UDP, once the peers have found each other.
class CWBSessionClientP2P : public CWBClientUDP {
public:
    CWBSessionClientP2P(IWBSessionClientNotify& notify, CWBChannel& channel);

    /// Begins to look for the path; false when the session could not be opened.
    virtual bool Connect(uint32_t userID);
    virtual void SendConnect(uint32_t ip, uint16_t port) {
        m_subscription.SendConnect(static_cast<uint32_t>(GetWBChannelID()), ip, port);
    }

protected:
    bool PollSubscription() override { return m_subscription.Poll(static_cast<uint32_t>(GetWBChannelID())); }

private:
    CPeerSubscription m_subscription;
};
