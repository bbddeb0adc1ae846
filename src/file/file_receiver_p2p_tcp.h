// Subscribes to a file channel at a peer's local MCU over TCP.
#pragma once

#include "file/file_receiver.h"
#include "p2p/share_receiver_p2p_tcp.h"

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
