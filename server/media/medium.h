// What the parts of one medium's server share.
#pragma once

#include "link/bounds/address_quotas.h"
#include "link/bounds/limits.h"
#include "link/mcu_address.h"
#include "platform/lumobase/crit_sec.h"
#include "server/channels/key_frames.h"
#include "server/channels/server_channel.h"
#include "server/channels/server_channel_table.h"
#include "server/live_options.h"
#include "server/media/medium_adapter.h"
#include "server/relays/relay_policy.h"
#include "server/server_constants.h"
#include "server/server_log.h"
#include "server/sources/source.h"

#include <atomic>
#include <string>

/// One for the whole server.
struct CServerContext {
    CServerContext(const CServerOptions& given, CServerLog& where)
        : live(given),
          log(where),
          trusted(given.Trusted()),
          policy(live),
          channelQuotas(given.limits.channelsPerAddress, trusted),
          connectionQuotas(CServerLimits::Quota(given.limits.connections), trusted) {}

    CLiveOptions live;
    CServerLog& log;
    const CCidrList trusted;
    CRelayPolicy policy;
    CAddressQuotas channelQuotas;     // and boards
    CAddressQuotas connectionQuotas;  // over TCP, that are served
    CCritSec gate{server::kGateRank};
    uint16_t port = 0;  // as bound; set before anything is served
};

struct CMedium {
    CMedium(const CMediumRow& medium, IMediumAdapter& own, CServerContext& whole)
        : row(medium), adapter(own), context(whole) {}

    const CServerLimits& Limits() const { return context.live.Limits(); }
    /// The longest frame that is taken from a subscriber: at a board everybody draws, as publishers do elsewhere.
    uint32_t MaxSubscriberFrame() const {
        return row.board ? static_cast<uint32_t>(limits::kMaxFrameLen) : Limits().upstreamFrameBytes;
    }
    /// "file sink 10.0.0.1:5000 (udp) came to channel 7", and of another server: "channel 7 of 10.0.0.9:7000".
    void LogEndpoint(LogKind role, const CEndpointAddress& address, bool tcp, const char* what, ChannelKey key);
    /// A new channel, open for subscribers; null at the limit, or for ID 0. Under the gate.
    std::shared_ptr<CServerChannel> MakeChannel(const CServerChannelName& name);
    /// This server's own channel, once somebody has published it here; null before.
    std::shared_ptr<CServerChannel> FindServed(uint32_t channelID);
    /// Whether a channel, or a new one of that number, may become this address's.
    bool MayHold(uint32_t channelID, uint32_t ip);
    /// Charges the channel to the address's quota; false when that is used up. Under the gate.
    bool Hold(CServerChannel& channel, uint32_t ip);
    /// The same for a board or a relayed channel, which is charged to the first address that uses it.
    bool HoldForFirst(CServerChannel& channel, uint32_t ip) { return channel.Holder().IsHeld() || Hold(channel, ip); }
    /// Ends a channel that nobody uses: it never had a publisher or a validated subscriber, has no unvalidated one, and
    /// none is joining. Under the gate.
    void EndDeserted(ChannelKey key);
    /// Ends its subscribers and forgets it. It has no source and no leg any more. Under the gate.
    void EndChannel(CServerChannel& channel);
    /// Counts and logs why an address gets nothing more; always false.
    bool Refuse(uint32_t ip, Refusal why = Refusal::ChannelsOfAddress);
    /// The same for a channel of another server.
    bool RefuseRelay(uint32_t ip, Refusal why, uint32_t channelID, const CMcuAddress& home) const;

    const CMediumRow& row;
    IMediumAdapter& adapter;
    CServerContext& context;
    CServerChannelTable channels;
    bool closed = false;  // no channel is made any more. Under the gate
    CKeyFrames keyFrames{channels, context.gate};
    std::atomic<bool> legsBehind{false};  // whether subscribers want a relayed channel has changed
    CCritSec csEnded{lock_order::kLeaf};
    CMediumStatus ended LUMO_GUARDED_BY(csEnded);  // of channels that are gone
};
