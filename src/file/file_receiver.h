// The receivers of files, which add their log lines to what the receivers of shares do.
#pragma once

#include "file/local_mcu_file.h"
#include "link/bounds/limits.h"
#include "link/media.h"
#include "link/share/share_receiver.h"
#include "link/share/share_receiver_tcp.h"
#include "link/share/share_receiver_udp.h"
#include "p2p/share_receiver_p2p.h"

/// The common base of the file receivers.
class CFileReceiver
    : public CShareReceiverOf<IFileReceiver, IFileReceiverNotify, &IFileReceiverNotify::OnFileReceiverNotifyConnected,
                              &IFileReceiverNotify::OnFileReceiverNotifyData> {
public:
    using CShareReceiverOf::CShareReceiverOf;

    uint32_t GetFileChannelID() const { return ChannelID(); }
    uint32_t GetFileReceiverID() const { return ReceiverID(); }
    static constexpr const CMediumRow& kMedium = media::kFile;

protected:
    static constexpr bool kDetachesFirst = false;  // the server hears of the end first
    /// One frame at a time is in flight.
    static void SendUpstream(CFrameLink& link, const void* data, int length) { link.QueueFrame(data, length); }
    static void LeaveMcu(uint32_t receiverID) {
        if (CLocalMCUFile* mcu = GetLocalMCUFile()) mcu->RemoveFileReceiver(receiverID);
    }
    /// Frames of 2 bytes or more go to the application.
    void NotifyData(const char* data, int length) override {
        if (data && length >= limits::kMinFrameLen) CShareReceiverOf::NotifyData(data, length);
    }
};

/// Subscribes to a file channel at a server over UDP.
class CFileReceiverUDP : public CShareReceiverUDP<CFileReceiver> {
public:
    using CShareReceiverUDP::CShareReceiverUDP;

    bool Connect(const CMcuAddress& publishers, const CMcuAddress& near, bool publishersOnly);
    void OnChannelData(const void* data, int length) override;

protected:
    void OnAcknowledged(uint32_t sinkID, uint32_t ip, uint16_t port) override;
};

/// Subscribes to a file channel at a server over TCP.
class CFileReceiverTCP : public CShareReceiverTCP<CFileReceiver> {
public:
    using CShareReceiverTCP::CShareReceiverTCP;

    void OnChannelData(const void* data, int length) override;
    void OnTcpClientNotifyConnected() override;
    bool OnTcpClientNotifyValidate(unsigned long type, const char* data, int length) override;
    bool OnTcpClientNotifyReceivedFrame(const char* data, int length) override;
};

/// Subscribes to a file channel at a peer's local MCU over UDP.
class CFileReceiverP2P : public CShareReceiverP2P<CFileReceiver> {
public:
    using CShareReceiverP2P::CShareReceiverP2P;

    bool Connect(uint32_t userID);
    void OnChannelData(const void* data, int length) override;

protected:
    void OnAcknowledged(uint32_t sinkID, uint32_t ip, uint16_t port) override;
};

/// Subscribes to a file channel at a peer's local MCU over TCP.
class CFileReceiverP2PTCP : public CShareReceiverP2PTCP<CFileReceiver> {
public:
    CFileReceiverP2PTCP(IFileReceiverNotify& notify, CShareChannel& channel);

    void Connect(uint32_t userID);
    bool IsDisconnected() override;
    bool OnTcpClientNotifyValidate(unsigned long type, const char* data, int length) override;
    bool OnTcpClientNotifyReceivedFrame(const char* data, int length) override;

protected:
    void OnWay(const CPeerPath::TcpWay& way) override;

private:
    bool CheckAnswer(unsigned long type, const char* data, int length);
};
