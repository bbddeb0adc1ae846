// Publishes a file channel to a server over UDP.
#pragma once

#include "file/file_sender.h"
#include "link/frame_link.h"
#include "link/udp_source.h"

class CFileSenderUDP : public CFileSender, public CFrameLink {
public:
    CFileSenderUDP(IFileSenderNotify& notify, CFileChannel& channel);

    void ReleaseConnections() override;
    bool IsDisconnected() override;
    uint32_t GetBufferingFrameCount() override { return static_cast<uint32_t>(GetCount()); }
    void SendFileData(const void* data, int length) override;
    /// Sends the connect request; false without an address, a port or an open session.
    virtual bool Connect(uint32_t ip0, uint32_t ip1, uint32_t ip2, uint16_t port);
    CFrameLink* GetFrameLink() override { return this; }

    /// Opens the session, before the sender enters its channel and table.
    void StartSession() { m_bSessionOpen = OpenLink(); }
    uint32_t GetSenderKey() { return GetFileSinkID(); }
    uint32_t GetFileSourceID() const { return m_source.SourceID(); }

    /// UDP thread, under the sender table lock.
    void OnReceivedConnectACK(uint32_t sourceID, uint32_t ip, uint16_t port);
    void OnReceivedKeepAlive();
    void OnReceivedFrameAck(const char* data, int length);

    void OnSCTPSessionReceivedFrame(char* data, int length) override { OnUpstreamFrame(data, length); }
    void SendSCTPData(char* packet, int length) override { m_source.SendPacket(packet, length); }

protected:
    void DescribeLink(LumoLinkStatistics& statistics) const override;

private:
    CUdpSource m_source;
    bool m_bSessionOpen = false;
};
