// A peer's receiver attached to a file channel of this host over TCP.
#pragma once

#include "file/file_sink.h"
#include "link/share_sink_tcp.h"

class CFileSinkTCP : public CShareSinkTCP<CFileSink> {
public:
    using CShareSinkTCP::CShareSinkTCP;

    bool OnTcpSessionNotifyReceivedFrame(const char* data, int length) override;
};
