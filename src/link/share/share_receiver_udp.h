// The receivers of a share that speak datagrams.
#pragma once

#include "link/bounds/limits.h"
#include "link/callback.h"
#include "link/share/share_receiver.h"
#include "link/udp/frame_link.h"
#include "link/udp/udp_subscriber_link.h"

/// What the receivers of a share that speak datagrams have in common: all but how they reach a sink.
/// `TReceiver` is the medium's CShareReceiver with the application's interface and notifications; `TLink` the
/// subscriber link with its way of asking.
template <class TReceiver, class TLink>
class CShareReceiverDatagrams : public TReceiver, public IShareReceiverUDP, private ILinkOwner {
public:
    template <class TNotify>
    CShareReceiverDatagrams(TNotify& notify, CShareChannel& channel)
        : TReceiver(notify, channel), m_link(TReceiver::kMedium, TReceiver::ReceiverID()) {}

    void ReleaseConnections() override {
        if (RefusesRelease("A receiver of channel", TReceiver::ChannelID())) return;
        if (TReceiver::kDetachesFirst) TReceiver::Detach();
        SendDisconnect();
        TReceiver::LeaveMcu(TReceiver::ReceiverID());
        if (!TReceiver::kDetachesFirst) TReceiver::Detach();
        m_frames.CloseLink();
        delete this;
    }
    bool IsDisconnected() override { return PollLink(); }
    /// The poll of a receiver that keeps its link: asks for the sink, sends keep-alives, and knows when it is lost.
    bool PollLink() { return m_link.Poll(TReceiver::ChannelID()) || m_frames.IsOverLimit(); }
    void OnChannelData(const void* data, int length) override {
        if (data && length >= limits::kMinFrameLen) TReceiver::SendUpstream(m_frames, data, length);
    }
    uint32_t GetBufferingFrameCount() override { return m_frames.QueuedFrames(); }
    uint64_t GetBufferedBytes() override { return m_frames.QueuedBytes() + m_frames.Session().GetPendingBytes(); }

    void OnReceivedConnectACK(uint32_t sinkID, uint32_t ip, uint16_t port) override {
        const ConnectAck ack = m_link.OnConnectAck(sinkID, ip, port);
        if (ack == ConnectAck::Foreign) return;
        if (ack == ConnectAck::First) OnAcknowledged(sinkID, ip, port);
        this->IsDisconnected();  // sends the keep-alive that validates this address
        if (ack == ConnectAck::First) TReceiver::NotifyConnected(ip);
    }
    void OnReceivedKeepAliveACK(uint32_t sinkID, uint32_t ip, uint16_t port) override {
        m_link.Accepts(sinkID, ip, port);
    }
    void OnReceivedFrame(uint32_t sinkID, const char* packet, int length, uint32_t ip, uint16_t port) override {
        if (m_link.Accepts(sinkID, ip, port)) m_frames.OnPacket(packet, length);
    }
    void SendDisconnect() { m_link.SendGoodbye(); }

    /// When the server last gave a sign of life, and a way to ask it for one with the next poll.
    uint32_t LastHeard() const { return m_link.LastHeard(); }
    void KeepAliveSoon() { m_link.KeepAliveSoon(); }

    IShareReceiverUDP* AsUDP() override { return this; }
    CFrameLink* GetFrameLink() override { return &m_frames; }
    /// Opens the session, before the receiver enters its channel and table.
    void StartSession() { m_bSessionOpen = m_frames.OpenLink(); }

protected:
    /// The first answer came.
    virtual void OnAcknowledged(uint32_t /*sinkID*/, uint32_t /*ip*/, uint16_t /*port*/) {}
    bool IsSessionOpen() const { return m_bSessionOpen; }

    TLink m_link;

private:
    void OnSCTPSessionReceivedFrame(char* data, int length) override { TReceiver::NotifyData(data, length); }
    void SendSCTPData(char* packet, int length) override { m_link.SendPacket(packet, length); }
    void DescribeLink(LumoLinkStatistics& statistics) const override { m_link.Describe(statistics); }

    CFrameLink m_frames{*this};
    bool m_bSessionOpen = false;
};

/// Subscribes to a channel at a server over UDP, its frames in the reliable session.
template <class TReceiver>
class CShareReceiverUDP : public CShareReceiverDatagrams<TReceiver, CUdpSubscription> {
public:
    using CShareReceiverDatagrams<TReceiver, CUdpSubscription>::CShareReceiverDatagrams;

    /// Sends the connect request; false when the session could not be opened.
    bool Connect(const CMcuAddress& publishers, const CMcuAddress& near, bool publishersOnly) {
        this->m_link.SetMcus(publishers, near, publishersOnly);
        if (!this->IsSessionOpen()) return false;
        SendConnect();
        return true;
    }
    void SendConnect() { this->m_link.SendConnect(this->ChannelID()); }
};
