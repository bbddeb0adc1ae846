// Subscribes to a file channel at a server over UDP.
#pragma once

#include "file/file_receiver_datagrams.h"
#include "link/udp_subscription.h"

class CFileReceiverUDP : public CFileReceiverDatagrams {
public:
    CFileReceiverUDP(IFileReceiverNotify& notify, CFileChannel& channel);

    /// Sends the connect request; false when the session could not be opened.
    virtual bool Connect(const CMcuAddress& peer, const CMcuAddress& local, bool peerMCUOnly);
    virtual void SendConnect() { m_subscription.SendConnect(GetFileChannelID()); }

protected:
    bool IsSilent() override { return m_subscription.IsSilent(GetFileChannelID()); }
    void LogConnectAck(uint32_t sinkID, uint32_t ip, uint16_t port) override;

private:
    CUdpSubscription m_subscription;
};
