// What the receivers of a share that speak datagrams have in common: all but how they reach a sink.
#pragma once

#include "link/callback.h"
#include "link/frame_link.h"
#include "link/limits.h"
#include "link/share_receiver.h"
#include "link/sink_link.h"

/// `TReceiver` is the medium's CShareReceiver with the application's interface and notifications; `TLink` the sink
/// link with its way of asking.
template <class TReceiver, class TLink>
class CShareReceiverDatagrams : public TReceiver, public CFrameLink, public IShareReceiverUDP {
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
        CloseLink();
        delete this;
    }
    bool IsDisconnected() override { return PollLink(); }
    /// The poll of a receiver that keeps its link: asks for the sink, sends keep-alives, and knows when it is lost.
    bool PollLink() { return m_link.IsSilent(TReceiver::ChannelID()) || IsOverLimit(); }
    void OnChannelData(const void* data, int length) override {
        if (data && length >= limits::kMinFrameLen) TReceiver::SendUpstream(*this, data, length);
    }
    uint32_t GetBufferingFrameCount() override { return static_cast<uint32_t>(GetCount()); }
    uint64_t GetBufferedBytes() override { return GetByteCount() + GetPendingBytes(); }

    void OnReceivedConnectACK(uint32_t sinkID, uint32_t ip, uint16_t port) override {
        const ConnectAck ack = m_link.OnConnectAck(sinkID, ip, port);
        if (ack == ConnectAck::Foreign) return;
        if (ack == ConnectAck::First) OnAcknowledged(sinkID, ip, port);
        this->IsDisconnected();  // sends the keep-alive that proves this address
        if (ack == ConnectAck::First) TReceiver::NotifyConnected(ip);
    }
    void OnReceivedKeepAliveACK(uint32_t sinkID, uint32_t ip, uint16_t port) override {
        m_link.Accepts(sinkID, ip, port);
    }
    void OnReceivedFrame(uint32_t sinkID, const char* packet, int length, uint32_t ip, uint16_t port) override {
        if (m_link.Accepts(sinkID, ip, port)) OnPacket(packet, length);
    }
    void SendDisconnect() { m_link.SendGoodbye(); }

    /// When the server last gave a sign of life, and a way to ask it for one with the next poll.
    uint32_t LastHeard() const { return m_link.LastHeard(); }
    void KeepAliveSoon() { m_link.KeepAliveSoon(); }

    IShareReceiverUDP* AsUDP() override { return this; }
    CFrameLink* GetFrameLink() override { return this; }
    /// Opens the session, before the receiver enters its channel and table.
    void StartSession() { m_bSessionOpen = OpenLink(); }

    void OnSCTPSessionReceivedFrame(char* data, int length) override { TReceiver::NotifyData(data, length); }
    void SendSCTPData(char* packet, int length) override { m_link.SendPacket(packet, length); }

protected:
    /// The first answer came.
    virtual void OnAcknowledged(uint32_t /*sinkID*/, uint32_t /*ip*/, uint16_t /*port*/) {}
    bool IsSessionOpen() const { return m_bSessionOpen; }
    void DescribeLink(LumoLinkStatistics& statistics) const override { m_link.Describe(statistics); }

    TLink m_link;

private:
    bool m_bSessionOpen = false;
};
