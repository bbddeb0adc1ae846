// Who may subscribe, and when a subscriber is validated.
#pragma once

#include "link/bounds/unvalidated.h"
#include "link/process/server_hooks.h"
#include "server/media/medium.h"

/// The sinks themselves are the library's. UDP thread, TCP thread (the TCP ones) or worker.
class CSinks {
public:
    explicit CSinks(CMedium& medium);

    /// The limits have changed.
    void FollowLimits();
    /// A short-form connect: to this server's own channel only, and within the limits.
    bool AdmitConnect(const CServerDatagram& datagram);
    /// A datagram that names a sink: from its own address only. The first one validates it.
    bool AdmitUse(const CServerDatagram& datagram);
    /// A TCP subscriber without relay fields.
    bool AdmitSubscriber(uint32_t channelID, uint32_t ip);

    /// Makes the sink of a channel that is served to this subscriber, if there is room, and acknowledges it.
    void Connect(CServerChannel& channel, const CSinkRequest& request);
    /// The same over TCP; the sink's ID, or 0.
    uint32_t Accept(CServerChannel& channel, ITcpSession* session, const CSinkRequest& request);

    void OnSinkMade(const CSinkInfo& sink);
    void OnSinkChanged(const CSinkInfo& sink);
    void OnSinkGone(const CSinkInfo& sink);
    /// Ends the oldest unvalidated subscriber; under the gate. False when there is none.
    bool EvictOldest() { return Evict(m_unvalidated.Oldest(), nullptr); }
    size_t Unvalidated() const { return m_unvalidated.Count(); }

private:
    /// Tells its publisher, here or at another server, that the subscribers have changed.
    void Tell(CServerChannel& channel);
    /// Makes room for one more subscriber of this address.
    bool MakeRoom(CServerChannel& channel, uint32_t ip);
    bool MakeRoomForUdp(CServerChannel& channel, uint32_t ip);
    bool MakeRoomInQuota(CServerChannel& channel, uint32_t ip);
    /// Ends its board too if nobody is left there, except the board that somebody is `joining`.
    bool Evict(uint32_t sinkID, const CServerChannel* joining);
    /// A board or a relayed channel has no publisher here: it is charged to the first validated subscriber, who is
    /// ended if its address has its quota.
    bool HoldForFirst(ChannelKey key, uint32_t sinkID, uint32_t ip);

    CMedium& m_medium;
    CUnvalidated m_unvalidated;
    CAddressQuotas m_ofAddresses;
};
