// Publishes a channel to a server over UDP, its frames in the reliable session.
#pragma once

#include "link/callback.h"
#include "link/share/share_sink.h"
#include "link/udp/frame_link.h"
#include "link/udp/udp_source.h"

/// The datagrams that a server sends to a sender. UDP thread, under the sender table lock.
class IShareSenderUDP {
public:
    virtual void OnReceivedConnectACK(uint32_t sourceID, uint32_t ip, uint16_t port) = 0;
    virtual void OnReceivedKeepAlive() = 0;
    virtual void OnReceivedFrameAck(const char* data, int length) = 0;
    virtual CFrameLink* GetFrameLink() = 0;

protected:
    ~IShareSenderUDP() = default;
};

/// `TSender` is the medium's CShareSink with the application's interface and notifications.
template <class TSender>
class CShareSenderUDP : public TSender, public IShareSenderUDP, private ILinkOwner {
public:
    template <class TNotify>
    CShareSenderUDP(TNotify& notify, CShareChannel& channel)
        : TSender(notify, channel), m_source(TSender::kMedium, TSender::SinkID()) {}

    void ReleaseConnections() override {
        if (RefusesRelease("A sender of channel", TSender::ChannelID())) return;
        TSender::LeaveMcu(GetSenderKey());
        TSender::ReleaseConnections();
        SendSourceClose();
        m_frames.CloseLink();
        delete this;
    }
    bool IsDisconnected() override { return m_source.Poll(TSender::ChannelID()) || m_frames.IsOverLimit(); }
    void OnChannelData(const void* data, int length) override {
        if (data && length >= limits::kMinFrameLen) m_frames.QueueFrame(data, length);
    }
    uint32_t GetBufferingFrameCount() override { return m_frames.QueuedFrames(); }
    CFrameLink* GetFrameLink() override { return &m_frames; }
    /// Sends the connect request; false without an address, a port or an open session.
    bool Connect(const CMcuAddress& mcu) {
        if (!m_source.SetMcu(mcu) || !m_bSessionOpen) return false;
        m_source.SendConnect(TSender::ChannelID());
        return true;
    }

    /// Opens the session, before the sender enters its channel and table.
    void StartSession() { m_bSessionOpen = m_frames.OpenLink(); }
    uint32_t GetSenderKey() const { return TSender::SinkID(); }

    void OnReceivedConnectACK(uint32_t sourceID, uint32_t ip, uint16_t port) override {
        if (m_source.OnConnectAck(sourceID, ip, port) == ConnectAck::First) TSender::NotifyConnected(ip);
    }
    void OnReceivedKeepAlive() override {
        m_source.Touch();
        m_source.AnswerKeepAlive();
    }
    void OnReceivedFrameAck(const char* data, int length) override {
        m_source.Touch();
        m_frames.OnPacket(data, length);
    }

protected:
    virtual void SendSourceClose() { m_source.SendGoodbye(); }

private:
    void OnSCTPSessionReceivedFrame(char* data, int length) override { TSender::OnUpstreamFrame(data, length); }
    void SendSCTPData(char* packet, int length) override { m_source.SendPacket(packet, length); }
    void DescribeLink(LumoLinkStatistics& statistics) const override { m_source.Describe(statistics); }

    CUdpSource m_source;
    CFrameLink m_frames{*this};
    bool m_bSessionOpen = false;
};
