// Subscribes to a file channel at a peer's local MCU over TCP, once the peer's addresses are known.
#pragma once

#include "file/file_receiver_stream.h"
#include "p2p/peer_path.h"

class CFileReceiverP2PTCP : public CFileReceiverStream {
public:
    CFileReceiverP2PTCP(IFileReceiverNotify& notify, CFileChannel& channel);

    /// Asks for the peer's addresses.
    void Connect(uint32_t userID);
    /// Dials as soon as they are known. True also when no connection can get in.
    bool IsDisconnected() override;

    void OnTcpClientNotifyConnected() override;
    bool OnTcpClientNotifyValidate(unsigned long type, const char* data, int length) override;

private:
    bool Dial();
    bool CheckAnswer(unsigned long type, const char* data, int length);

    CPeerPath m_path;
};
