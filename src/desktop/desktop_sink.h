// The subscribers of a desktop channel: the peers' sinks over UDP and TCP, and the base of the senders of this host.
#pragma once

#include "link/media.h"
#include "link/share/share_sink_tcp.h"
#include "link/share/share_sink_udp.h"

class CDesktopSink : public CShareSink {
public:
    explicit CDesktopSink(CShareChannel& channel) : CShareSink(channel, kMedium.kind) {}

    uint32_t GetDesktopSinkID() const { return SinkID(); }
    uint32_t GetDesktopChannelID() const { return ChannelID(); }
    static constexpr const CMediumRow& kMedium = media::kDesktop;
};

using CDesktopSinkUDP = CShareSinkUDP<CDesktopSink>;
using CDesktopSinkTCP = CShareSinkTCP<CDesktopSink>;
