// Publishes a file channel to a server over TCP.
#pragma once

#include "file/file_sender.h"
#include "link/share_sender_tcp.h"

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
