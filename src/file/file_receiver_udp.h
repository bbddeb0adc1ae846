// Subscribes to a file channel at a server over UDP.
#pragma once

#include "file/file_receiver.h"
#include "link/share_receiver_udp.h"

class CFileReceiverUDP : public CShareReceiverUDP<CFileReceiver> {
public:
    using CShareReceiverUDP::CShareReceiverUDP;

    bool Connect(const CMcuAddress& peer, const CMcuAddress& local, bool peerMCUOnly);
    void OnChannelData(const void* data, int length) override;

protected:
    void OnAcknowledged(uint32_t sinkID, uint32_t ip, uint16_t port) override;
};
