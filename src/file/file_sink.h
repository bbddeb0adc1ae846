// A subscriber of a file channel: the peers' sinks, and the senders of this host.
#pragma once

#include "link/media.h"
#include "link/share_sink.h"

class CFileSink : public CShareSink {
public:
    explicit CFileSink(CShareChannel& channel) : CShareSink(channel, kMedium.kind) {}

    uint32_t GetFileSinkID() const { return SinkID(); }
    uint32_t GetFileChannelID() const { return ChannelID(); }
    static constexpr const CMediumRow& kMedium = media::kFile;
};
