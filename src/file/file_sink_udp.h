// A peer's receiver attached to a channel of this host over UDP.
#pragma once

#include "file/file_sink.h"
#include "link/activity.h"
#include "link/frame_link.h"
#include "link/mcu_address.h"

class CFileSinkUDP : public CFileSink, public CFrameLink {
public:
    static constexpr uint32_t kTimeoutMs = 180000;

    CFileSinkUDP(CFileChannel& channel, uint32_t ip, uint16_t port, uint32_t receiverID);

    void ReleaseConnections() override;
    bool IsDisconnected() override;
    void OnFileChannelData(const void* data, int length) override;
    uint32_t GetBufferingFrameCount() override { return static_cast<uint32_t>(GetCount()); }
    CFileSinkUDP* AsUDP() override { return this; }
    CFrameLink* GetFrameLink() override { return this; }

    /// False when the session cannot be opened; the sink then answers and times out.
    bool StartSession() { return OpenLink(); }
    /// Each is a sign of life. UDP thread, under the sink table lock.
    void OnReceivedConnect();
    void OnReceivedKeepAlive();
    void OnReceivedFrameAck(const char* data, int length);

    uint32_t GetRemoteIP() const { return m_remote.IP(); }
    uint16_t GetRemotePort() const { return m_remote.Port(); }
    uint32_t GetFileReceiverID() const { return m_ulFileReceiverID; }

    void OnSCTPSessionReceivedFrame(char* data, int length) override;
    void SendSCTPData(char* packet, int length) override;

protected:
    void DescribeLink(LumoLinkStatistics& statistics) const override;

private:
    void Acknowledge(uint8_t code);

    CRemoteAddress m_remote;  // as seen on the connect request; never changes
    CActivity m_activity;
    const uint32_t m_ulFileReceiverID;
    const uint32_t m_ulFileSinkID;  // GetFileSinkID() without the virtual call per packet
};
