// The senders of files, which add their log lines to what the senders of shares do.
#pragma once

#include "file/file_sink.h"
#include "file/local_mcu_file.h"
#include "link/callback.h"
#include "link/share/share_sender_tcp.h"
#include "link/share/share_sender_udp.h"

/// The common base of the file senders: a sink of the channel that forwards to a server.
class CFileSender : public CShareSenderOf<CFileSink, IFileSender, IFileSenderNotify> {
public:
    using CShareSenderOf::CShareSenderOf;

protected:
    void NotifyConnected(uint32_t ip) {
        CallApplication([&] { m_pNotify->OnFileSenderNotifyConnected(ip, true); });
    }
    static void LeaveMcu(uint32_t senderKey) {
        if (CLocalMCUFile* mcu = GetLocalMCUFile()) mcu->RemoveFileSenderUDP(senderKey);
    }
};

/// Publishes a file channel to a server over UDP.
class CFileSenderUDP : public CShareSenderUDP<CFileSender> {
public:
    using CShareSenderUDP::CShareSenderUDP;

    void OnReceivedConnectACK(uint32_t sourceID, uint32_t ip, uint16_t port) override;

protected:
    void SendSourceClose() override;
};

/// Publishes a file channel to a server over TCP.
class CFileSenderTCP : public CShareSenderTCP<CFileSender> {
public:
    using CShareSenderTCP::CShareSenderTCP;

    bool IsDisconnected() override;
    bool Connect(const CMcuAddress& mcu, const CProxyServer& proxy);
    void OnTcpClientNotifyConnected() override;

protected:
    void OnDial(const CMcuAddress& mcu) override;
    void OnAnswer(bool sized, uint32_t channelID) override;
};
