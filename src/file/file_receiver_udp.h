// Subscribes to a file channel at a server over UDP.
#pragma once

#include "file/file_receiver.h"
#include "link/frame_link.h"
#include "link/udp_subscription.h"

class CFileReceiverUDP : public CFileReceiver, public CFrameLink, public IFileDatagramReceiver {
public:
    CFileReceiverUDP(IFileReceiverNotify& notify, CFileChannel& channel);

    void ReleaseConnections() override;
    bool IsDisconnected() override;
    void OnFileChannelData(const void* data, int length) override;
    uint32_t GetBufferingFrameCount() override { return static_cast<uint32_t>(GetCount()); }
    /// Sends the connect request; false when the session could not be opened.
    virtual bool Connect(const CMcuAddress& peer, const CMcuAddress& local, bool peerMCUOnly);
    virtual uint32_t GetFileSinkID() { return m_subscription.SinkID(); }
    void OnReceivedKeepAliveACK(uint32_t sinkID, uint32_t ip, uint16_t port) override;
    void OnReceivedConnectACK(uint32_t sinkID, uint32_t ip, uint16_t port) override;
    void OnReceivedFrame(uint32_t sinkID, const char* packet, int length, uint32_t ip, uint16_t port) override;
    virtual void SendConnect() { m_subscription.SendConnect(GetFileChannelID()); }
    virtual void SendDisconnect() { m_subscription.SendGoodbye(); }

    /// When the server last gave a sign of life, and a way to ask it for one with the next poll.
    uint32_t LastHeard() const { return m_subscription.LastHeard(); }
    void KeepAliveSoon() { m_subscription.KeepAliveSoon(); }
    uint64_t GetBufferedBytes() override { return GetByteCount(); }

    IFileDatagramReceiver* AsDatagramReceiver() override { return this; }
    CFrameLink* GetFrameLink() override { return this; }
    /// Opens the session, before the receiver enters its channel and table.
    void StartSession() { m_bSessionOpen = OpenLink(); }

    void OnSCTPSessionReceivedFrame(char* data, int length) override { NotifyData(data, length); }
    void SendSCTPData(char* packet, int length) override { m_subscription.SendPacket(packet, length); }

protected:
    void DescribeLink(LumoLinkStatistics& statistics) const override;

private:
    CUdpSubscription m_subscription;
    bool m_bSessionOpen = false;
};
