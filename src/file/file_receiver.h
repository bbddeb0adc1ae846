// The common base of the file receivers: attached to a local channel, subscribed to one elsewhere.
#pragma once

#include "link/object_id.h"
#include "lumomedia/file.h"

#include <cstdint>

class CFrameLink;

/// The datagrams that a server sends to a receiver. UDP thread, under the receiver table lock.
class IFileDatagramReceiver {
public:
    virtual void OnReceivedKeepAliveACK(uint32_t sinkID, uint32_t ip, uint16_t port) = 0;
    virtual void OnReceivedConnectACK(uint32_t sinkID, uint32_t ip, uint16_t port) = 0;
    virtual void OnReceivedFrame(uint32_t sinkID, const char* packet, int length, uint32_t ip, uint16_t port) = 0;

protected:
    ~IFileDatagramReceiver() = default;
};

/// Attaches to its channel by Attach once it is wholly made, and has left it before its destructor begins.
class CFileReceiver : public IFileReceiver {
public:
    CFileReceiver(IFileReceiverNotify& notify, CFileChannel& channel) : m_pNotify(&notify), m_pFileChannel(&channel) {}
    CFileReceiver(const CFileReceiver&) = delete;
    CFileReceiver& operator=(const CFileReceiver&) = delete;

    void ReleaseConnections() override;
    bool IsDisconnected() override = 0;
    virtual ~CFileReceiver() = default;
    virtual uint32_t GetFileChannelID() { return static_cast<uint32_t>(m_pFileChannel->GetFileChannelID()); }
    virtual uint32_t GetFileReceiverID() { return m_id.Get(); }
    /// A frame of the local channel, to go upstream. Any thread, under the channel's receiver lock.
    virtual void OnFileChannelData(const void* data, int length) = 0;
    virtual uint32_t GetBufferingFrameCount() = 0;
    /// Bytes of the frames still waiting to go upstream.
    virtual uint64_t GetBufferedBytes() = 0;

    /// This object as one that datagrams reach, or null.
    virtual IFileDatagramReceiver* AsDatagramReceiver() { return nullptr; }
    /// The reliable link that the worker pumps, or null.
    virtual CFrameLink* GetFrameLink() { return nullptr; }

    void Attach() { m_pFileChannel->AttachFileReceiver(this); }

protected:
    /// False when the application threw.
    bool NotifyConnected(uint32_t ip);
    /// Frames of 2 bytes or more go to the application.
    void NotifyData(const char* data, int length);

    IFileReceiverNotify* const m_pNotify;  // the application's; outlives the receiver
    CFileChannel* const m_pFileChannel;    // not owned; outlives the receiver

private:
    CObjectID m_id;
};
