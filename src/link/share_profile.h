// Shares: files and desktops, whose frames travel reliably and whose links are kept alive. Here the numbers in which
// they differ.
#pragma once

#include "core/wire/share_codes.h"
#include "link/sink_link.h"
#include "link/udp_source.h"

#include <cstdint>

struct CShareProfile {
    wire::ShareCodes codes;
    bool namesRelayPort;           ///< long connect requests carry the port of the publisher's server
    uint32_t sourceTimeoutMs;      ///< of a UDP sender, to connect
    uint8_t senderKeepAliveEvery;  ///< idle polls of a TCP sender
    int peerGoodbyes;              ///< of a receiver to a peer's sink; to a server's it is kGoodbyes

    static constexpr uint8_t kReceiverKeepAliveEvery = 12;  // polls, over UDP and over TCP when idle
    static constexpr int kGoodbyes = 3;

    constexpr CUdpSourceProfile Source() const {
        return {codes.kind, codes.sourceConnect, codes.sourceFrame, codes.sourceDisconnect, sourceTimeoutMs};
    }
    constexpr CSinkLinkProfile SinkLink(int goodbyes) const {
        return {.kind = codes.kind,
                .connectCode = codes.sinkConnect,
                .connectNamesPort = namesRelayPort,
                .connectNamesUser = false,
                .keepAliveCode = codes.sinkKeepAlive,
                .stopCode = codes.sinkKeepAlive,
                .keepAliveRepeats = 1,
                .frameAckCode = codes.sinkFrameAck,
                .disconnectCode = codes.sinkDisconnect,
                .keepAliveEvery = kReceiverKeepAliveEvery,
                .peerOnlyTimeoutMs = 4000,
                .connectTimeoutMs = 30000,
                .p2pTimeoutMs = 2000,
                .goodbyes = goodbyes};
    }
};
