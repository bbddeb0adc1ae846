// The subscribers of a file channel, which add their log lines to what the sinks of shares do.
#pragma once

#include "link/media.h"
#include "link/share/share_sink.h"
#include "link/share/share_sink_tcp.h"
#include "link/share/share_sink_udp.h"

/// A subscriber of a file channel: the peers' sinks, and the senders of this host.
class CFileSink : public CShareSink {
public:
    explicit CFileSink(CShareChannel& channel) : CShareSink(channel, kMedium.kind) {}

    uint32_t GetFileSinkID() const { return SinkID(); }
    uint32_t GetFileChannelID() const { return ChannelID(); }
    static constexpr const CMediumRow& kMedium = media::kFile;
};

/// A peer's receiver attached to a file channel of this host over UDP.
class CFileSinkUDP : public CShareSinkUDP<CFileSink> {
public:
    using CShareSinkUDP::CShareSinkUDP;

    void OnChannelData(const void* data, int length) override;
    void OnReceivedConnect() override;

protected:
    void OnSCTPSessionReceivedFrame(char* data, int length) override;
};

/// A peer's receiver attached to a file channel of this host over TCP.
class CFileSinkTCP : public CShareSinkTCP<CFileSink> {
public:
    using CShareSinkTCP::CShareSinkTCP;

    bool OnTcpSessionNotifyReceivedFrame(const char* data, int length) override;
};
