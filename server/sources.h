// Who may publish, and what a publisher's datagrams do.
#pragma once

#include "link/id_table.h"
#include "link/server_hooks.h"
#include "server/claims.h"
#include "server/contests.h"
#include "server/medium.h"
#include "server/relays.h"
#include "server/source_udp.h"

class ITcpSession;

/// First come, first served, among those who have shown themselves. Under the gate but what says otherwise.
class CSources {
public:
    CSources(CMedium& medium, CRelays& relays);

    /// A connect request. UDP thread.
    void OnConnect(const CServerDatagram& datagram);
    /// Any other datagram that names a source. UDP thread, takes the gate when it needs it.
    void OnDatagram(const CServerDatagram& datagram);
    /// A publisher over TCP; false refuses it. TCP thread.
    bool OnTcp(ITcpSession* session, uint32_t channelID);

    void OnSecond(uint32_t now);
    /// The send pumps, and newcomers who wait for their place. Worker, without the gate; true when something was sent.
    bool OnTurn(uint32_t now);

    /// Ends the stream's source, if it has one.
    void End(CStream& stream);
    /// Nobody waits any more.
    void EndNewcomers() { m_contests.EndAll(); }
    /// Lets TCP sources send what is queued and close, and ends the others.
    void CloseAll();
    /// Those of CloseAll whose connection is still open.
    size_t CountOpen();
    size_t Unproved() const { return m_claims.Count(); }

private:
    enum class Place { Free, Doubtful, Taken };  // doubtful: whoever holds it can be asked

    static Place PlaceIn(CStream& stream);
    bool Use(const CServerDatagram& datagram, uint32_t sourceID);
    /// It has shown itself: it is the source, or waits for the place. False when there is none for it.
    bool Admit(uint32_t channelID, CNewcomer newcomer);
    bool Publish(uint32_t channelID, CNewcomer newcomer);
    bool PublishUdp(CStream& stream, std::unique_ptr<CClaim> claim);
    void PublishTcp(CStream& stream, CNewcomer& newcomer);
    /// Its publisher is here.
    void OnPublished(CStream& stream);
    void Leave(uint32_t channelID, uint32_t sourceID);
    void Settle(CStream& stream);
    void PassOn(CStream& stream);
    void ForgetIfUnused(CStream& stream, uint32_t now);
    uint32_t Wanted(uint32_t channelID);

    CMedium& m_medium;
    CRelays& m_relays;
    CClaims m_claims;
    CContests m_contests;
    CIDTable<CSourceUDP> m_sources{lock_order::kMediumTable};  // owned by their streams
};
