// What an operator chooses.
#pragma once

#include "link/bounds/cidr.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

/// What one relay server takes on; clients beyond it get no answer or are refused.
struct CServerLimits {
    size_t channels = 10000;
    size_t sinksPerChannel = 10000;
    size_t sinks = 100000;                      ///< of all channels of one medium
    size_t channelsPerAddress = 256;            ///< channels and boards of all media that are its own
    uint64_t sinkQueueBytes = 32ULL << 20;      ///< waiting at one sink: past it the sink is dropped
    uint64_t upstreamQueueBytes = 32ULL << 20;  ///< waiting for one publisher: past it frames are dropped
    /// A longer frame of a subscriber is dropped, over TCP with its connection. Not of boards.
    uint32_t upstreamFrameBytes = 1U << 20;
    unsigned unvalidatedTcpPerAddress = 64;  ///< TCP connections that have not sent their validation message
    uint64_t connections = UINT64_MAX;       ///< for which the process has descriptors

    /// The quota of one address, of what all together may have.
    static constexpr uint64_t Quota(uint64_t all) { return all < 4 ? 1 : all / 4; }
    size_t signallingClients = 10000;      ///< connected to the signalling service
    size_t signallingPerAddress = 64;      ///< of those
    uint64_t boardBytes = 1ULL << 30;      ///< of all whiteboards together: past it nothing more is kept
    size_t unvalidatedUdpPerAddress = 64;  ///< unvalidated UDP sinks, and as many UDP publishers
    uint64_t ratePerAddress = 0;           ///< bytes a second to one address over UDP; 0: no limit
    uint64_t memoryBytes = 0;  ///< what waits or is not whole, of all together; 0: a quarter of the machine's

    bool operator==(const CServerLimits&) const = default;
};

struct CServerOptions {
    uint32_t listenIP = 0;        ///< 0: all addresses
    uint16_t port = 7000;         ///< UDP and TCP; 0: any free one
    bool reflector = true;        ///< a second UDP port that tells askers their address
    bool reflectorAsked = false;  ///< the operator named the port: not getting it is an error
    uint16_t reflectorPort = 0;   ///< when asked, 0: any free one; else the one after `port`
    bool http = true;
    bool httpAsked = false;  ///< the operator named the endpoint: not getting it is an error
    uint32_t httpIP = 0x7f000001;
    uint16_t httpPort = 7080;
    std::vector<std::string> httpNames;  ///< in small letters: what the pages answer to besides their address
    CCidrList allow;                     ///< who may talk to the server; empty: everybody
    CCidrList relayTo;                   ///< where it may relay from; empty: every unicast address but its own
    std::optional<CCidrList> trusted;    ///< whom no quota of an address limits; not named: loopback
    bool jsonLog = false;                ///< lines of the log are JSON
    CServerLimits limits;

    bool operator==(const CServerOptions&) const = default;
    bool Allows(uint32_t ip) const { return allow.empty() || Contains(allow, ip); }
    /// These with what may change while the server runs taken from `next`: allowed addresses, relay targets and limits.
    CServerOptions Changed(const CServerOptions& next) const;
    CCidrList Trusted() const { return trusted ? *trusted : CCidrList{{0x7f000000, 8}}; }
};

/// "ADDR", "ADDR:PORT" or ":PORT"; what is not named keeps its value. False on anything else.
bool ParseEndpoint(const std::string& text, uint32_t& ip, uint16_t& port);
/// "NAME" or "NAME:PORT", kept in small letters. False on anything that is not a host's name or an address.
bool ParseHostName(const std::string& text, std::string& name);
/// Letters and digits as they are, capitals made small.
std::string SmallLetters(std::string text);
/// "ADDR:PORT".
std::string EndpointText(uint32_t ip, uint16_t port);
