// Subscribes to a file channel at a peer's local MCU over UDP.
#pragma once

#include "file/file_receiver.h"
#include "p2p/share_receiver_p2p.h"

class CFileReceiverP2P : public CShareReceiverP2P<CFileReceiver> {
public:
    using CShareReceiverP2P::CShareReceiverP2P;

    bool Connect(uint32_t userID);
    void OnChannelData(const void* data, int length) override;

protected:
    void OnAcknowledged(uint32_t sinkID, uint32_t ip, uint16_t port) override;
};
