// Who may publish, and what a publisher's datagrams do.
#pragma once

#include "link/id_table.h"
#include "link/server_hooks.h"
#include "server/medium.h"
#include "server/relays.h"
#include "server/source_udp.h"
#include "server/unproved.h"

class ITcpSession;

/// First come, first served. Under the gate but what says otherwise.
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
    /// The send pumps. Worker, without the gate; true when something was sent.
    bool Pump();

    /// Room for one channel more, where need be at the cost of the oldest claim that nobody has stood up for.
    bool MakeRoomForChannel();
    /// Ends the stream's source, if it has one.
    void End(CStream& stream);
    /// Lets TCP sources send what is queued and close, and ends the others.
    void CloseAll();
    /// Those of CloseAll whose connection is still open.
    size_t CountOpen();
    size_t Unproved() const { return m_unproved.Count(); }

private:
    enum class Found { No, Heard, Unheard };  // of nobody; of one who serves; of one who has to show itself first

    Found Use(const CServerDatagram& datagram, uint32_t sourceID);
    /// It is there.
    void Prove(uint32_t sourceID);
    /// Its publisher is here.
    void OnPublished(CStream& stream);
    /// The stream for a newcomer, its old publisher ended; null when the place is taken or there is no room.
    std::shared_ptr<CStream> TakePlace(uint32_t channelID, bool udp);
    bool EvictOldest();
    void Leave(uint32_t channelID, uint32_t sourceID);
    void Settle(CStream& stream);
    void Forget(const CSourceUDP& source);
    void ForgetIfUnused(CStream& stream, uint32_t now);

    CMedium& m_medium;
    CRelays& m_relays;
    CUnproved m_unproved;
    CIDTable<CSourceUDP> m_sources{lock_order::kMediumTable};  // owned by their streams
};
