// A peer's receiver attached to a channel of this host over UDP.
#pragma once

#include "link/share/share_sink.h"
#include "link/udp/frame_link.h"
#include "link/udp/udp_sink.h"

/// `TSink` is the medium's CShareSink.
template <class TSink>
class CShareSinkUDP : public TSink, public CFrameLink, public IShareSinkUDP {
public:
    CShareSinkUDP(CShareChannel& channel, uint32_t ip, uint16_t port, uint32_t receiverID)
        : TSink(channel), m_udp(TSink::kMedium, ip, port, receiverID, TSink::SinkID()) {}

    void ReleaseConnections() override {
        TSink::ReleaseConnections();
        CloseLink();
    }
    bool IsDisconnected() override { return m_udp.IsSilent() || IsOverLimit(); }
    void OnChannelData(const void* data, int length) override {
        if (data && length >= limits::kMinFrameLen) QueueFrame(data, length);
    }
    uint32_t GetBufferingFrameCount() override { return static_cast<uint32_t>(GetCount()); }
    IShareSinkUDP* AsUDP() override { return this; }
    CFrameLink* GetFrameLink() override { return this; }
    void LimitQueue(uint64_t bytes) override { SetQueueLimit(bytes); }
    CSinkInfo Info() override {
        CSinkInfo info = TSink::Info();
        info.ip = m_udp.Remote().IP();
        info.port = m_udp.Remote().Port();
        return info;
    }
    bool IsAt(uint32_t ip, uint16_t port) const override { return m_udp.Remote().Is(ip, port); }

    /// False when the session cannot be opened; the sink then answers and times out.
    bool StartSession() { return OpenLink(m_udp.Remote().IP()); }
    void OnReceivedConnect() override { m_udp.AcknowledgeConnect(); }
    void OnReceivedKeepAlive() override { m_udp.AcknowledgeKeepAlive(); }
    void OnReceivedFrameAck(const char* data, int length) override {
        if (!data || length < 2) return;
        m_udp.Touch();
        OnPacket(data, length);
    }
    uint32_t GetReceiverID() const override { return m_udp.ReceiverID(); }

    void OnSCTPSessionReceivedFrame(char* data, int length) override { TSink::DeliverUpstream(data, length); }
    void SendSCTPData(char* packet, int length) override { m_udp.SendPacket(packet, length); }

protected:
    void DescribeLink(LumoLinkStatistics& statistics) const override { m_udp.Describe(statistics); }

private:
    CUdpSink m_udp;
};
