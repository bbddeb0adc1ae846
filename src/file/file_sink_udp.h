// A peer's receiver attached to a file channel of this host over UDP.
#pragma once

#include "file/file_sink.h"
#include "link/share_sink_udp.h"

class CFileSinkUDP : public CShareSinkUDP<CFileSink> {
public:
    using CShareSinkUDP::CShareSinkUDP;

    void OnChannelData(const void* data, int length) override;
    void OnReceivedConnect() override;
    void OnSCTPSessionReceivedFrame(char* data, int length) override;
};
