// Subscribes to a file channel at a peer's local MCU over UDP, once the peers have found each other.
#pragma once

#include "file/file_receiver_datagrams.h"
#include "p2p/peer_subscription.h"

class CFileReceiverP2P : public CFileReceiverDatagrams {
public:
    CFileReceiverP2P(IFileReceiverNotify& notify, CFileChannel& channel);

    /// Begins to look for the path; false when the session could not be opened.
    virtual bool Connect(uint32_t userID);
    virtual void SendConnect(uint32_t ip, uint16_t port) { m_subscription.SendConnect(GetFileChannelID(), ip, port); }

protected:
    bool IsSilent() override { return m_subscription.IsSilent(GetFileChannelID()); }
    void LogConnectAck(uint32_t sinkID, uint32_t ip, uint16_t port) override;

private:
    CPeerSubscription m_subscription;
};
