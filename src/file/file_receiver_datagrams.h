// What the file receivers that speak datagrams share: all but how they reach a sink.
#pragma once

#include "file/file_receiver.h"
#include "link/frame_link.h"
#include "link/sink_link.h"

/// The sink link belongs to the derived class and is used only after it is made.
class CFileReceiverDatagrams : public CFileReceiver, public CFrameLink, public IFileDatagramReceiver {
public:
    void ReleaseConnections() override;
    bool IsDisconnected() override { return IsSilent() || IsOverLimit(); }
    void OnFileChannelData(const void* data, int length) override;
    uint32_t GetBufferingFrameCount() override { return static_cast<uint32_t>(GetCount()); }
    virtual uint32_t GetFileSinkID() { return m_sinkLink.SinkID(); }
    void OnReceivedKeepAliveACK(uint32_t sinkID, uint32_t ip, uint16_t port) override;
    void OnReceivedConnectACK(uint32_t sinkID, uint32_t ip, uint16_t port) override;
    void OnReceivedFrame(uint32_t sinkID, const char* packet, int length, uint32_t ip, uint16_t port) override;
    virtual void SendDisconnect() { m_sinkLink.SendGoodbye(); }

    /// When the server last gave a sign of life, and a way to ask it for one with the next poll.
    uint32_t LastHeard() const { return m_sinkLink.LastHeard(); }
    void KeepAliveSoon() { m_sinkLink.KeepAliveSoon(); }
    uint64_t GetBufferedBytes() override { return GetByteCount(); }

    IFileDatagramReceiver* AsDatagramReceiver() override { return this; }
    CFrameLink* GetFrameLink() override { return this; }
    /// Opens the session, before the receiver enters its channel and table.
    void StartSession() { m_bSessionOpen = OpenLink(); }

    void OnSCTPSessionReceivedFrame(char* data, int length) override { NotifyData(data, length); }
    void SendSCTPData(char* packet, int length) override { m_sinkLink.SendPacket(packet, length); }

protected:
    /// `name` is the class's, for the log.
    CFileReceiverDatagrams(IFileReceiverNotify& notify, CFileChannel& channel, CSinkLink& sinkLink, const char* name)
        : CFileReceiver(notify, channel), m_sinkLink(sinkLink), m_pszName(name) {}

    static const CSinkLinkProfile kProfile;

    virtual bool IsSilent() = 0;
    virtual void LogConnectAck(uint32_t sinkID, uint32_t ip, uint16_t port) = 0;
    bool IsSessionOpen() const { return m_bSessionOpen; }
    void DescribeLink(LumoLinkStatistics& statistics) const override;

private:
    CSinkLink& m_sinkLink;
    const char* const m_pszName;
    bool m_bSessionOpen = false;
};
