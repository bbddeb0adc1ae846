// A peer's receiver attached to a channel of this host over UDP.
#pragma once

#include "link/share/share_sink.h"
#include "link/udp/frame_link.h"
#include "link/udp/udp_sink.h"

/// `TSink` is the medium's CShareSink.
template <class TSink>
class CShareSinkUDP : public TSink, public IShareSinkUDP, private ILinkOwner {
public:
    CShareSinkUDP(CShareChannel& channel, uint32_t ip, uint16_t port, uint32_t receiverID)
        : TSink(channel), m_udp(TSink::kMedium, ip, port, receiverID, TSink::SinkID()) {}

    void ReleaseConnections() override {
        TSink::ReleaseConnections();
        m_frames.CloseLink();
    }
    bool IsDisconnected() override { return m_udp.IsSilent() || m_frames.IsOverLimit(); }
    void OnChannelData(const void* data, int length) override {
        if (data && length >= limits::kMinFrameLen) m_frames.QueueFrame(data, length);
    }
    uint32_t GetBufferingFrameCount() override { return m_frames.QueuedFrames(); }
    IShareSinkUDP* AsUDP() override { return this; }
    CFrameLink* GetFrameLink() override { return &m_frames; }
    void LimitQueue(uint64_t bytes) override { m_frames.SetQueueLimit(bytes); }
    CSinkInfo Info() override {
        CSinkInfo info = TSink::Info();
        info.ip = m_udp.Remote().IP();
        info.port = m_udp.Remote().Port();
        return info;
    }
    bool IsAt(uint32_t ip, uint16_t port) const override { return m_udp.Remote().Is(ip, port); }

    /// False when the session cannot be opened; the sink then answers and times out.
    bool StartSession() { return m_frames.OpenLink(m_udp.Remote().IP()); }
    void OnReceivedConnect() override { m_udp.AcknowledgeConnect(); }
    void OnReceivedKeepAlive() override { m_udp.AcknowledgeKeepAlive(); }
    void OnReceivedFrameAck(const char* data, int length) override {
        if (!data || length < 2) return;
        m_udp.Touch();
        m_frames.OnPacket(data, length);
    }
    uint32_t GetReceiverID() const override { return m_udp.ReceiverID(); }

protected:
    void OnSCTPSessionReceivedFrame(char* data, int length) override { TSink::DeliverUpstream(data, length); }

private:
    void SendSCTPData(char* packet, int length) override { m_udp.SendPacket(packet, length); }
    void DescribeLink(LumoLinkStatistics& statistics) const override { m_udp.Describe(statistics); }

    CUdpSink m_udp;
    CFrameLink m_frames{*this};
};
