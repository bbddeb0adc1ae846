#include "file/file_sink.h"

#include "platform/lumobase/app_log.h"

void CFileSinkUDP::OnChannelData(const void* data, int length) {
    LUMO_LOG_DEBUG("CFileSinkUDP::OnFileChannelData");
    CShareSinkUDP::OnChannelData(data, length);
}

void CFileSinkUDP::OnReceivedConnect() {
    LUMO_LOG_LINE("CFileSinkUDP::OnReceivedConnect(void). connect udp");
    CShareSinkUDP::OnReceivedConnect();
}

void CFileSinkUDP::OnSCTPSessionReceivedFrame(char* data, int length) {
    LUMO_LOG_DEBUG("CFileSinkUDP::OnTcpSessionNotifyReceivedFrame. nLen : %d", length);
    CShareSinkUDP::OnSCTPSessionReceivedFrame(data, length);
}

bool CFileSinkTCP::OnTcpSessionNotifyReceivedFrame(const char* data, int length) {
    LUMO_LOG_DEBUG("CFileSinkTCP::OnTcpSessionNotifyReceivedFrame. nLen : %d", length);
    return CShareSinkTCP::OnTcpSessionNotifyReceivedFrame(data, length);
}
