// Publishes a file channel to a server over UDP.
#pragma once

#include "file/file_sender.h"
#include "link/share_sender_udp.h"

class CFileSenderUDP : public CShareSenderUDP<CFileSender> {
public:
    using CShareSenderUDP::CShareSenderUDP;

    void OnReceivedConnectACK(uint32_t sourceID, uint32_t ip, uint16_t port) override;

protected:
    void SendSourceClose() override;
};
