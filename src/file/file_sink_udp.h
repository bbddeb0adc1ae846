// A peer's receiver attached to a channel of this host over UDP.
#pragma once

#include "file/file_sink.h"
#include "link/frame_link.h"
#include "link/udp_sink.h"

class CFileSinkUDP : public CFileSink, public CFrameLink {
public:
    CFileSinkUDP(CFileChannel& channel, uint32_t ip, uint16_t port, uint32_t receiverID);

    void ReleaseConnections() override;
    bool IsDisconnected() override;
    void OnFileChannelData(const void* data, int length) override;
    uint32_t GetBufferingFrameCount() override { return static_cast<uint32_t>(GetCount()); }
    CFileSinkUDP* AsUDP() override { return this; }
    CFrameLink* GetFrameLink() override { return this; }
    void LimitQueue(uint64_t bytes) override { SetQueueLimit(bytes); }
    CSinkInfo Info() override;
    bool IsAt(uint32_t ip, uint16_t port) const override { return m_udp.Remote().Is(ip, port); }

    /// False when the session cannot be opened; the sink then answers and times out.
    bool StartSession() { return OpenLink(); }
    /// Each is a sign of life. UDP thread, under the sink table lock.
    void OnReceivedConnect() override;
    void OnReceivedKeepAlive();
    void OnReceivedFrameAck(const char* data, int length);

    uint32_t GetRemoteIP() const { return m_udp.Remote().IP(); }
    uint16_t GetRemotePort() const { return m_udp.Remote().Port(); }
    uint32_t GetFileReceiverID() const { return m_udp.ReceiverID(); }

    void OnSCTPSessionReceivedFrame(char* data, int length) override;
    void SendSCTPData(char* packet, int length) override;

protected:
    void DescribeLink(LumoLinkStatistics& statistics) const override;

private:
    CUdpSink m_udp;
};
