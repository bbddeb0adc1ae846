#include "file/file_sink_tcp.h"

#include "platform/lumobase/app_log.h"

bool CFileSinkTCP::OnTcpSessionNotifyReceivedFrame(const char* data, int length) {
    LUMO_LOG_LINE("CFileSinkTCP::OnTcpSessionNotifyReceivedFrame. nLen : %d", length);
    return CShareSinkTCP::OnTcpSessionNotifyReceivedFrame(data, length);
}
