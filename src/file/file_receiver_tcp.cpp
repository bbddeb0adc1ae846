#include "file/file_receiver_tcp.h"

#include "platform/lumobase/app_log.h"

void CFileReceiverTCP::OnTcpClientNotifyConnected() {
    LUMO_LOG_LINE("tcp-mcu connect success");
    CShareReceiverTCP::OnTcpClientNotifyConnected();
}

bool CFileReceiverTCP::OnTcpClientNotifyValidate(unsigned long type, const char* data, int length) {
    LUMO_LOG_LINE("tcp-mcu. OnTcpClientNotifyValidate(Type : %u, Len : %d)", static_cast<uint32_t>(type), length);
    return CShareReceiverTCP::OnTcpClientNotifyValidate(type, data, length);
}

bool CFileReceiverTCP::OnTcpClientNotifyReceivedFrame(const char* data, int length) {
    LUMO_LOG_LINE("tcp-mcu. recv file data. nLen = %d", length);
    return CShareReceiverTCP::OnTcpClientNotifyReceivedFrame(data, length);
}

void CFileReceiverTCP::OnChannelData(const void* data, int length) {
    LUMO_LOG_LINE("tcp-mcu. send file data. nLen = %d", length);
    CShareReceiverTCP::OnChannelData(data, length);
}
