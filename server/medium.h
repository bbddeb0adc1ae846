// What the parts of one medium's server share.
#pragma once

#include "link/address_shares.h"
#include "link/limits.h"
#include "platform/lumobase/crit_sec.h"
#include "server/key_frames.h"
#include "server/medium_classes.h"
#include "server/relay_policy.h"
#include "server/server_constants.h"
#include "server/server_log.h"
#include "server/server_options.h"
#include "server/source.h"
#include "server/stream.h"
#include "server/stream_table.h"

#include <atomic>
#include <string>

/// One for the whole server.
struct CServerContext {
    CServerContext(const CServerOptions& given, CServerLog& where)
        : options(given),
          log(where),
          trusted(given.Trusted()),
          policy(options),
          channels(given.limits.channelsPerAddress, trusted),
          connections(CServerLimits::Share(given.limits.connections), trusted) {}

    const CServerOptions options;
    CServerLog& log;
    const CCidrList trusted;
    CRelayPolicy policy;
    CAddressShares channels;     // and boards
    CAddressShares connections;  // over TCP, that are served
    CCritSec gate{server::kGateRank};
    uint16_t port = 0;  // as bound; set before anything is served
};

struct CMedium {
    CMedium(const CMediumRow& medium, IMediumClasses& own, CServerContext& whole)
        : row(medium), classes(own), context(whole) {}

    const CServerLimits& Limits() const { return context.options.limits; }
    /// "file sink 10.0.0.1:5000 (udp) came to channel 7", and of another server: "channel 7 of 10.0.0.9:7000".
    void LogPeer(LogKind role, const CPeer& peer, bool tcp, const char* what, ChannelKey channel);
    /// A new stream, open for subscribers; null at the limit, or for ID 0. Under the gate.
    std::shared_ptr<CStream> MakeStream(const CStreamName& name);
    /// This server's own channel, once somebody has published it here; null before.
    std::shared_ptr<CStream> FindServed(uint32_t channelID);
    /// Whether a channel, or a new one of that number, may become this address's.
    bool MayHold(uint32_t channelID, uint32_t ip);
    /// From now on that address answers for the stream; false when it has its share of them. Under the gate.
    bool Hold(CStream& stream, uint32_t ip);
    /// The same, where whoever came first holds it: a board or a relayed channel.
    bool HoldForFirst(CStream& stream, uint32_t ip) { return stream.Holder().IsHeld() || Hold(stream, ip); }
    /// Ends a stream that nobody has shown interest in: no publisher and no proved subscriber ever, none of any sort
    /// now, nor one who is just joining. Under the gate.
    void EndDeserted(ChannelKey channel);
    /// Ends its subscribers and forgets it. It has no source and no leg any more. Under the gate.
    void EndStream(CStream& stream);
    /// Says why an address gets nothing more; false.
    bool Refuse(uint32_t ip, const char* why = "it has its share of channels and boards");

    const CMediumRow& row;
    IMediumClasses& classes;
    CServerContext& context;
    CStreamTable streams;
    bool closed = false;  // no stream is made any more. Under the gate
    CKeyFrames keyFrames{streams, context.gate};
    std::atomic<bool> legsBehind{false};  // what is wanted of a relayed stream has changed
    CCritSec csEnded{lock_order::kLeaf};
    CMediumStatus ended LUMO_GUARDED_BY(csEnded);  // of streams that are gone
};
