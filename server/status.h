// What the server says of itself: to the page, the JSON and the metrics. No ID that would let a reader act as a client.
#pragma once

#include "lumomedia/statistics.h"
#include "server/channels/rate_history.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

struct CEndpointAddress {
    uint32_t ip;
    uint16_t port;
    bool operator==(const CEndpointAddress& other) const { return ip == other.ip && port == other.port; }
};

/// Sums over reliable links.
struct CLinkSums {
    uint64_t packets = 0;
    uint64_t retransmitted = 0;
    uint64_t dropped = 0;

    void Add(const CLinkSums& other) {
        packets += other.packets;
        retransmitted += other.retransmitted;
        dropped += other.dropped;
    }
};

/// Whole frames: from the publisher, to all subscribers, and from subscribers to the publisher.
struct CTraffic {
    uint64_t framesIn = 0, bytesIn = 0;
    uint64_t framesOut = 0, bytesOut = 0;
    uint64_t framesUp = 0, bytesUp = 0;
    uint64_t dropped = 0;  ///< frames of subscribers that did not reach the publisher

    void Add(const CTraffic& other) {
        framesIn += other.framesIn;
        bytesIn += other.bytesIn;
        framesOut += other.framesOut;
        bytesOut += other.bytesOut;
        framesUp += other.framesUp;
        bytesUp += other.bytesUp;
        dropped += other.dropped;
    }
};

/// How fast a link goes: what decides it, and what a wide session knows of its path.
struct CFlowStatus {
    const char* control = "";  ///< wide, given; over TCP the kernel's congestion control; empty where there is none
    bool wide = false;
    uint64_t bytesPerSecond = 0, smallestRoundTripUs = 0, bytesInFlight = 0, packetsLost = 0;
};

inline CFlowStatus FlowOf(const LumoLinkStatistics& link) {
    const bool wide = link.byWide != 0;
    return {wide ? "wide" : "given", wide, link.ullBandwidth, link.ulSmallestRoundTripUs, link.ullBytesInFlight,
            link.ullPacketsLost};
}

struct CSourceStatus {
    CEndpointAddress address{};
    bool tcp = false;
    CLinkSums link;
    uint64_t queuedFrames = 0;
    uint64_t queuedBytes = 0;
    CFlowStatus flow;
};

struct CListenerStatus {
    CEndpointAddress address{};
    bool tcp = false;
    uint64_t queuedFrames = 0;
    uint64_t queuedBytes = 0;
    uint32_t roundTripMs = 0;  ///< 0 for TCP, or not measured yet
    CLinkSums link;
    CFlowStatus flow;
};

/// A live channel.
struct CChannelStatus {
    const char* medium = "";
    uint32_t channelID = 0;
    bool hasSource = false;
    CSourceStatus source;
    CEndpointAddress home{};  ///< the server that it is relayed from; address 0: its own
    size_t listenerCount = 0;
    std::vector<CListenerStatus> listeners;  ///< the first ones
    CTraffic traffic;
    uint32_t bytesPerSecond = 0;
    uint16_t lossPermille = 0;
    std::vector<CRateSample> history;
};

/// One medium, ended channels and links included in what only grows.
struct CMediumStatus {
    const char* medium = "";
    size_t channels = 0, relays = 0;
    size_t sourcesUdp = 0, sourcesTcp = 0;
    size_t sinksUdp = 0, sinksTcp = 0;
    size_t unvalidated = 0;
    CTraffic traffic;
    CLinkSums links;
    uint64_t queuedFrames = 0, queuedBytes = 0;
};

/// The signalling service: who is connected, and packets since the start.
struct CSignallingStatus {
    size_t clients = 0;
    uint64_t forwarded = 0;
    uint64_t dropped = 0;
};

/// What a memory budget counts, and how many gave way to keep it within its limit.
struct CBudgetStatus {
    const char* budget = "";  ///< send: what waits to be sent; receive: what is not yet whole
    uint64_t bytes = 0;
    uint64_t limit = 0;
    uint64_t gaveWay = 0;
};

/// Requests that were refused for one reason.
struct CRefusalStatus {
    const char* reason = "";  ///< its name
    const char* text = "";
    uint64_t count = 0;
    uint32_t lastIP = 0;  ///< who was the last; nobody where the count is 0
    uint32_t secondsAgo = 0;
};

/// Whether the server does its work, and whether it takes more.
struct CHealth {
    bool alive = true;   ///< its worker turns
    bool ready = true;   ///< and it takes newcomers
    std::string reason;  ///< why not
};

struct CServerStatus {
    uint32_t uptimeSeconds = 0;
    uint32_t listenIP = 0;
    uint16_t port = 0;
    std::vector<CMediumStatus> media;
    CSignallingStatus signalling;
    std::vector<CBudgetStatus> budgets;
    std::vector<CRefusalStatus> refusals;
    CHealth health;
    std::vector<CChannelStatus> channels;  ///< the busiest ones
    size_t channelCount = 0;
};

/// Where the pages get it from.
class IStatusSource {
public:
    virtual std::vector<CMediumStatus> Media() = 0;
    virtual CServerStatus Status() = 0;
    virtual CSignallingStatus Signalling() { return {}; }
    virtual std::vector<CBudgetStatus> Budgets() { return {}; }
    virtual std::vector<CRefusalStatus> Refusals() { return {}; }
    virtual CHealth Health() { return {}; }
    /// Requests over UDP dropped because they exceeded their part of the processor.
    virtual uint64_t DroppedRequests() { return 0; }
    /// Datagrams that did not leave because their address had its rate.
    virtual uint64_t DatagramsOverRate() { return 0; }

protected:
    ~IStatusSource() = default;
};

/// Reliable links as the status sees them.
inline CLinkSums SumsOf(const LumoLinkStatistics& statistics) {
    return {statistics.ullPacketsSent, statistics.ullRetransmitted, statistics.ullFramesDropped};
}
