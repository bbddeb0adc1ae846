// A subscriber of a file channel: the peers' sinks, and the senders of this host.
#pragma once

#include "file/file_profile.h"
#include "link/share_sink.h"

class CFileSink : public CShareSink {
public:
    explicit CFileSink(CShareChannel& channel) : CShareSink(channel, Profile().codes.kind) {}

    uint32_t GetFileSinkID() const { return SinkID(); }
    uint32_t GetFileChannelID() const { return ChannelID(); }
    static const CShareProfile& Profile() { return file::kProfile; }
};
