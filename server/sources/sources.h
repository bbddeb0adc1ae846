// Who may publish, and what a publisher's datagrams do.
#pragma once

#include "link/process/server_hooks.h"
#include "link/tables/id_table.h"
#include "server/media/medium.h"
#include "server/relays/relays.h"
#include "server/sources/claims.h"
#include "server/sources/contests.h"
#include "server/sources/source_udp.h"

class ITcpSession;

/// First come, first served, among validated publishers. Under the gate unless said otherwise.
class CSources {
public:
    CSources(CMedium& medium, CRelays& relays);

    /// A connect request. UDP thread.
    void OnConnect(const CServerDatagram& datagram);
    /// What names a source. UDP thread; these take the gate when they need it.
    void OnSign(const CServerDatagram& datagram);
    void OnFrame(const CServerDatagram& datagram);
    void OnDisconnect(const CServerDatagram& datagram);
    /// A publisher over TCP; false refuses it. TCP thread.
    bool OnTcp(ITcpSession* session, uint32_t channelID);

    void OnSecond(uint32_t now);
    /// The send pumps, and challengers that wait for a place. Worker, without the gate; true when something was sent.
    bool OnTurn(uint32_t now);

    /// Ends the channel's source, if it has one.
    void End(CServerChannel& channel);
    /// Ends the publishers of addresses that are not allowed any more.
    void EndForeign();
    /// Ends the contests.
    void EndChallengers() { m_contests.EndAll(); }
    /// Lets TCP sources send what is queued and close, and ends the others.
    void CloseAll();
    /// Those of CloseAll whose connection is still open.
    size_t CountOpen();
    size_t Unvalidated() const { return m_claims.Count(); }

private:
    enum class Place { Free, Doubtful, Taken };  // doubtful: the present publisher can be asked

    static Place PlaceIn(CServerChannel& channel);
    template <class Act>
    void Reach(const CServerDatagram& datagram, Act act);
    template <class Act>
    bool Use(const CServerDatagram& datagram, Act& act);
    /// The first datagram with a claim's ID; true when its publisher is, or may become, the source.
    bool Validate(const CServerDatagram& datagram);
    /// A validated publisher becomes the source or waits for the place. False when the place is taken.
    bool Admit(uint32_t channelID, CChallenger challenger);
    bool Publish(uint32_t channelID, CChallenger challenger);
    bool PublishUdp(CServerChannel& channel, std::unique_ptr<CClaim> claim);
    void PublishTcp(CServerChannel& channel, CChallenger& challenger);
    /// The channel has a publisher now.
    void OnPublished(CServerChannel& channel);
    void Leave(uint32_t channelID, uint32_t sourceID);
    void Settle(CServerChannel& channel);
    void PassOn(CServerChannel& channel);
    void ForgetIfUnused(CServerChannel& channel, uint32_t now);
    uint32_t Wanted(uint32_t channelID);

    CMedium& m_medium;
    CRelays& m_relays;
    CClaims m_claims;
    CContests m_contests;
    CIDTable<CSourceUDP> m_sources{lock_order::kMediumTable};  // owned by their channels
};
