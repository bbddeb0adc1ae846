// Who may subscribe, and when a subscriber counts as being there.
#pragma once

#include "link/server_hooks.h"
#include "link/unproved.h"
#include "server/medium.h"

/// The sinks themselves are the library's. UDP thread, TCP thread (the TCP ones) or worker.
class CSinks {
public:
    explicit CSinks(CMedium& medium);

    /// A short-form connect: to this server's own channel only, and within the limits.
    bool MayConnect(const CServerDatagram& datagram);
    /// A datagram that names a sink: from its own address only. The first one proves it.
    bool MayUse(const CServerDatagram& datagram);
    /// A TCP subscriber without relay fields.
    bool MayServe(uint32_t channelID, uint32_t ip);

    /// Makes the sink of a stream that is served to this subscriber, if there is room, and acknowledges it.
    void Connect(CStream& stream, const CSinkRequest& request);
    /// The same over TCP; the sink's ID, or 0.
    uint32_t Accept(CStream& stream, ITcpSession* session, const CSinkRequest& request);

    void OnSinkMade(const CSinkInfo& sink);
    void OnSinkChanged(const CSinkInfo& sink);
    void OnSinkGone(const CSinkInfo& sink);
    /// The oldest of those who have not shown themselves; under the gate. False when there is none.
    bool EvictOldest() { return Evict(m_unproved.Oldest(), nullptr); }
    size_t Unproved() const { return m_unproved.Count(); }

private:
    /// Its publisher, here or elsewhere, hears of a change.
    void Tell(CStream& stream);
    /// For one more of this address.
    bool MakeRoom(CStream& stream, uint32_t ip);
    bool MakeRoomForUdp(CStream& stream, uint32_t ip);
    bool MakeRoomInShare(CStream& stream, uint32_t ip);
    /// Its board goes too if nobody is left, but not the one that somebody is `joining`.
    bool Evict(uint32_t sinkID, const CStream* joining);
    /// Nobody publishes a board or a relayed channel here: the first subscriber answers for it; one whose address has
    /// its share goes.
    bool HoldForFirst(ChannelKey channel, uint32_t sinkID, uint32_t ip);

    CMedium& m_medium;
    CUnproved m_unproved;
    CAddressShares m_ofAddresses;
};
