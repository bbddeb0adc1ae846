// The server's adapter to the library's classes of one medium; each medium has one.
#pragma once

#include "link/mcu_address.h"
#include "server/channels/server_channel.h"
#include "server/relays/relay_leg.h"
#include "server/status.h"

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>

class ITcpSession;

/// A subscriber's request.
struct CSinkRequest {
    uint32_t receiverID;
    uint32_t channelID;
    uint32_t userID;  ///< 0 where the medium's requests name none
    CEndpointAddress address;
    bool shortForm = false;  ///< a peer's request; too short for an answer of any length
};

/// Whether a subscriber's sink exists, and whether it belongs to the address that asks.
enum class SinkOwner { None, Same, Other };

class IMediumAdapter {
public:
    virtual ~IMediumAdapter() = default;

    virtual std::shared_ptr<CServerChannel> MakeChannel(const CServerChannelName& name) = 0;
    /// A leg that sets `news` and wakes the worker when the far server accepts it.
    virtual std::unique_ptr<CRelayLeg> MakeLeg(CServerChannel& channel, const CMcuAddress& far, bool tcp,
                                               std::atomic<bool>& news) = 0;

    /// Makes the sink, or acknowledges again the one there is. False for an unknown channel or a full table. Requests
    /// name a channel by its number; `key` says which channel of that number is meant.
    virtual bool ConnectSink(ChannelKey key, const CSinkRequest& request) = 0;
    /// The new sink's ID, 0 when there is none. A request over TCP has no receiver ID.
    virtual uint32_t AcceptSink(ChannelKey key, ITcpSession* session, const CSinkRequest& request) = 0;
    /// Sends an unvalidated subscriber something that the library at its side acknowledges, which validates it.
    virtual void AskForSign(ChannelKey key, const CSinkRequest& request) = 0;
    virtual void EndSink(uint32_t sinkID) = 0;
    virtual void EndSinksIf(const std::function<bool(uint32_t ip)>& unwanted) = 0;
    /// Limits that the medium keeps for itself have changed.
    virtual void FollowLimits() = 0;
    virtual SinkOwner OwnerOf(ChannelKey key, const CSinkRequest& request) = 0;
    virtual bool IsSinkAt(uint32_t sinkID, const CEndpointAddress& address) = 0;
    /// Lets a UDP sink's frames go; its queue may hold `queueBytes`.
    virtual void Unhold(uint32_t sinkID, uint64_t queueBytes) = 0;
    virtual size_t SinkCount() = 0;

    /// Lets TCP sinks send what is queued and close; how many still have a connection.
    virtual void CloseTcpSinks() = 0;
    virtual size_t CountTcpSinks() = 0;
};
