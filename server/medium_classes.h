// What the library's classes of one medium do for the server; each medium implements it once.
#pragma once

#include "link/mcu_address.h"
#include "server/relay_leg.h"
#include "server/status.h"
#include "server/stream.h"

#include <atomic>
#include <cstdint>
#include <memory>

class ITcpSession;

/// A subscriber's request.
struct CSinkRequest {
    uint32_t receiverID;
    uint32_t channelID;
    uint32_t userID;  ///< 0 where the medium's requests name none
    CPeer peer;
    bool shortForm = false;  ///< a peer's request; too short for an answer of any length
};

/// Whose a subscriber's sink is, seen from an address.
enum class SinkOwner { None, Same, Other };

class IMediumClasses {
public:
    virtual ~IMediumClasses() = default;

    virtual std::shared_ptr<CStream> MakeStream(const CStreamName& name) = 0;
    /// A leg that sets `news` and wakes the worker when the far server accepts it.
    virtual std::unique_ptr<CRelayLeg> MakeLeg(CStream& stream, const CMcuAddress& far, bool tcp,
                                               std::atomic<bool>& news) = 0;

    /// Makes the sink, or acknowledges again the one there is. False for an unknown channel or a full table. Requests
    /// name a channel by its number; `channel` is the one that is meant.
    virtual bool ConnectSink(ChannelKey channel, const CSinkRequest& request) = 0;
    /// The new sink's ID, 0 when there is none. A request over TCP has no receiver ID.
    virtual uint32_t AcceptSink(ChannelKey channel, ITcpSession* session, const CSinkRequest& request) = 0;
    /// Sends the subscriber's sink, if it is unproved, something that the library at the far side acknowledges.
    virtual void AskForSign(ChannelKey channel, const CSinkRequest& request) = 0;
    virtual void EndSink(uint32_t sinkID) = 0;
    virtual SinkOwner OwnerOf(ChannelKey channel, const CSinkRequest& request) = 0;
    virtual bool IsSinkAt(uint32_t sinkID, const CPeer& peer) = 0;
    /// Lets a UDP sink's frames go; its queue may hold `queueBytes`.
    virtual void Unhold(uint32_t sinkID, uint64_t queueBytes) = 0;
    virtual size_t SinkCount() = 0;

    /// Lets TCP sinks send what is queued and close; how many still have a connection.
    virtual void CloseTcpSinks() = 0;
    virtual size_t CountTcpSinks() = 0;
};
