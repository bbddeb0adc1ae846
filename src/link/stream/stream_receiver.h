// Receivers of a stream that starts and stops.
#pragma once

#include "link/bounds/limits.h"
#include "link/callback.h"
#include "link/tables/object_id.h"
#include "link/tcp/tcp_subscription.h"
#include "link/udp/udp_subscriber_link.h"

#include <cstdint>

/// The datagrams that an MCU sends to a receiver. UDP thread, under the receiver table lock.
class IStreamDatagramReceiver {
public:
    virtual void OnReceivedStartACK(uint32_t sinkID, uint32_t ip, uint16_t port) = 0;
    virtual void OnReceivedStopACK(uint32_t sinkID, uint32_t ip, uint16_t port) = 0;
    virtual void OnReceivedConnectACK(uint32_t sinkID, uint32_t ip, uint16_t port) = 0;
    virtual void OnReceivedFrame(uint32_t sinkID, const char* data, int length, uint32_t ip, uint16_t port) = 0;

protected:
    ~IStreamDatagramReceiver() = default;
};

/// The common base of a medium's receivers.
template <class IReceiver, class INotify>
class CStreamReceiver : public IReceiver {
public:
    CStreamReceiver(INotify& notify, uint32_t channelID, uint32_t userID)
        : m_pNotify(&notify), m_ulChannelID(channelID), m_ulUserID(userID) {}
    CStreamReceiver(const CStreamReceiver&) = delete;
    CStreamReceiver& operator=(const CStreamReceiver&) = delete;
    virtual ~CStreamReceiver() = default;

    uint32_t ReceiverID() const { return m_id.Get(); }
    virtual uint32_t SinkID() = 0;
    /// This object as one that datagrams reach, or null.
    virtual IStreamDatagramReceiver* AsDatagramReceiver() { return nullptr; }

protected:
    void NotifyConnected(uint32_t ip) {
        CallApplication([&] { m_pNotify->OnConnected(ip); });
    }

    INotify* const m_pNotify;  // the application's; outlives the receiver
    const uint32_t m_ulChannelID;
    const uint32_t m_ulUserID;

private:
    CObjectID m_id;
};

/// One that speaks datagrams: all but how it reaches a sink. TReceiver is the medium's receiver. The subscriber link
/// belongs to the derived class and is used only after it is made.
template <class TReceiver>
class CStreamReceiverDatagrams : public TReceiver, public IStreamDatagramReceiver {
public:
    void SetEnable(bool bEnable) override { m_subscriberLink.SetEnable(bEnable); }
    bool IsEnable() override { return m_subscriberLink.IsEnabled(); }
    uint32_t SinkID() override { return m_subscriberLink.SinkID(); }
    void OnReceivedStartACK(uint32_t sinkID, uint32_t ip, uint16_t port) override {
        m_subscriberLink.Accepts(sinkID, ip, port);
    }
    void OnReceivedStopACK(uint32_t sinkID, uint32_t ip, uint16_t port) override {
        m_subscriberLink.Accepts(sinkID, ip, port);
    }
    void OnReceivedConnectACK(uint32_t sinkID, uint32_t ip, uint16_t port) override {
        const ConnectAck ack = m_subscriberLink.OnConnectAck(sinkID, ip, port);
        if (ack == ConnectAck::Foreign) return;
        this->IsDisconnected();  // tells the sink at once what is wanted, which validates this address
        if (ack == ConnectAck::First) this->NotifyConnected(ip);
    }
    virtual void SendDisconnect() { m_subscriberLink.SendGoodbye(); }

    /// When the far side last gave a sign of life, and a way to ask it for one with the next poll.
    uint32_t LastHeard() const { return m_subscriberLink.LastHeard(); }
    void KeepAliveSoon() { m_subscriberLink.KeepAliveSoon(); }
    IStreamDatagramReceiver* AsDatagramReceiver() override { return this; }

protected:
    template <class INotify>
    CStreamReceiverDatagrams(INotify& notify, uint32_t channelID, uint32_t userID, CUdpSubscriberLink& subscriberLink)
        : TReceiver(notify, channelID, userID), m_subscriberLink(subscriberLink) {}

    CUdpSubscriberLink& m_subscriberLink;
};

/// Subscribes at a server. TDatagrams is the medium's: what CStreamReceiverDatagrams leaves open, its row, and
/// Enter, which makes it reachable or answers false.
template <class TDatagrams>
class CStreamReceiverUDP : public TDatagrams {
public:
    template <class INotify>
    CStreamReceiverUDP(INotify& notify, uint32_t channelID, uint32_t userID)
        : TDatagrams(notify, channelID, userID, m_subscription),
          m_subscription(TDatagrams::kMedium, TDatagrams::ReceiverID()) {}

    /// Enters the local MCU's table and sends the connect request.
    virtual bool Connect(const CMcuAddress& publishers, const CMcuAddress& near) {
        m_subscription.SetMcus(publishers, near, false);
        m_subscription.SetUser(this->m_ulUserID);
        m_subscription.Touch();
        if (!this->Enter()) return false;
        SendConnect();
        return true;
    }
    virtual void SendConnect() { m_subscription.SendConnect(this->m_ulChannelID); }
    bool IsDisconnected() override { return m_subscription.Poll(this->m_ulChannelID); }

private:
    CUdpSubscription m_subscription;
};

/// Subscribes at a server over TCP. TReceiver is the medium's receiver.
template <class TReceiver>
class CStreamReceiverTCP : public TReceiver, public ITcpClientNotify {
public:
    void ReleaseConnections() override {
        if (RefusesRelease("A receiver of channel", this->m_ulChannelID)) return;
        m_link.Release();
        delete this;
    }
    void SetEnable(bool bEnable) override { m_link.SetEnable(bEnable); }
    bool IsEnable() override { return m_link.IsEnabled(); }
    bool IsDisconnected() override { return m_link.Poll() == TcpPoll::Lost; }
    uint32_t SinkID() override { return m_link.SinkID(); }
    /// Dials address 0 of the chosen server. False when the publisher's server has no address or port, or no client was
    /// made.
    bool Connect(const CMcuAddress& publishers, const CMcuAddress& near, const CProxyServer& proxy) {
        return m_link.DialMcu(this, publishers, near, proxy);
    }

    void OnTcpClientNotifyConnected() override {
        m_link.Settle();
        m_link.Ask(this->m_ulChannelID, this->m_ulUserID);
    }
    bool OnTcpClientNotifyValidate(unsigned long /*type*/, const char* data, int length) override {
        m_link.Settle();
        if (!m_link.ReadAnswer(data, length, this->m_ulChannelID)) return false;
        this->NotifyConnected(m_link.RemoteIP());
        m_link.SayState();
        return true;
    }
    /// One byte is a control byte.
    bool OnTcpClientNotifyReceivedFrame(const char* data, int length) override {
        if (data && length >= limits::kMinFrameLen) this->NotifyData(data, length);
        return true;
    }

protected:
    template <class INotify>
    CStreamReceiverTCP(INotify& notify, uint32_t channelID, uint32_t userID, const CMediumRow& medium)
        : TReceiver(notify, channelID, userID), m_link(medium) {}

    CTcpSubscription m_link;
};
