// The peer-to-peer manager: the peers' addresses, the exchange of commands, the punches, this host's public address.
#pragma once

#include "link/lock_order.h"
#include "link/mcu_address.h"
#include "lumomedia/p2p.h"
#include "p2p/mtp2p_ip.h"
#include "platform/lumobase/crit_sec.h"

#include <atomic>
#include <cstdint>
#include <list>
#include <map>
#include <memory>

/// Any thread. The application is called with no lock held.
class CMTP2P : public IP2P {
public:
    explicit CMTP2P(IP2PNotify& notify);
    CMTP2P(const CMTP2P&) = delete;
    CMTP2P& operator=(const CMTP2P&) = delete;

    void StartP2PCaller(unsigned long ulUserID) override;
    void OnReceivedP2PCmd(CCmdPacket& cmd) override;
    void ReleaseConnections() override;
    void SetSunServer(unsigned long ulIP, unsigned short usPort) override;
    void Reserved(unsigned long) override {}
    virtual ~CMTP2P();

    /// Null for an unknown user.
    std::shared_ptr<CMTP2PIP> GetMTP2PIP(uint32_t userID);
    bool IsP2PConnected(uint32_t userID);
    bool IsP2PFailed(uint32_t userID);
    /// Whether a peer has told that it is reached at this address.
    bool IsAnnounced(uint32_t ip);
    /// Asks an unknown user for his addresses.
    void FetchMTP2PIP(uint32_t userID);
    void GetLocalP2PItem(P2PItem& item);
    /// Calls `use` with the peer's public address, and with its LAN address when it is another.
    template <class Use>
    void ForEachUdpAddress(const CMTP2PIP& peer, Use use) {
        const uint16_t natPort = peer.m_usNATUDPPort.load(std::memory_order_relaxed);
        if (MayReach(peer.m_ulNATIP, natPort)) use(peer.m_ulNATIP, natPort);
        const bool differs = peer.m_ulLocalIP != peer.m_ulNATIP || peer.m_usLocalUDPPort != natPort;
        if (differs && MayReach(peer.m_ulLocalIP, peer.m_usLocalUDPPort)) use(peer.m_ulLocalIP, peer.m_usLocalUDPPort);
    }
    /// Whether anything may ever be sent to an address that a peer announced. To loopback only when this host announces
    /// such an address too: then both are one machine, else the peer means services of this one.
    bool MayReach(uint32_t ip, uint16_t port);
    uint32_t LocalUserID();
    /// A probe of that user, or the answer to one, has come from there.
    void OnP2PConnected(uint32_t userID, uint32_t ip, uint16_t port);
    /// The reflector's answer without its kind byte.
    void OnSTUNReply(const char* data, int length, uint32_t ip, uint16_t port);
    /// Once a second.
    void SendSTUNRequest();
    bool IsSunServer(uint32_t ip) const { return m_sunServer.IP() == ip; }

private:
    friend struct CP2PCommands;

    void OnStart(uint32_t userID, const CCmdPacket& cmd);
    void OnStartAck(uint32_t userID, const CCmdPacket& cmd);
    void OnCmd(uint32_t userID, const CCmdPacket& cmd);
    void OnCmdAck(uint32_t userID, const CCmdPacket& cmd);
    void OnFetch(uint32_t userID, const CCmdPacket& cmd);
    void OnFetchAck(uint32_t userID, const CCmdPacket& cmd);

    void AddAndPunch(uint32_t userID, const char* type, const CCmdPacket& cmd);
    void PunchAgain(uint32_t userID, const char* type);
    void AddP2P(uint32_t userID, const P2PItem& item);
    void ResetP2P(uint32_t userID);
    /// One punch: three probes to each of the peer's addresses, or the end of the attempts.
    void SendUdpP2P(uint32_t userID);
    void Send(uint32_t userID, const char* type);
    P2PItem SendOwnItem(uint32_t userID, const char* type);
    void Deliver(uint32_t userID, CCmdPacket& cmd);

    struct Known {
        std::shared_ptr<CMTP2PIP> peer;
        std::list<uint32_t>::iterator age;
    };
    /// Takes out the oldest peer without a connection; where all have one, the oldest.
    Known TakeLeastNeeded() LUMO_REQUIRES(m_csPeers);

    CCritSec m_csPeers{lock_order::kPeerMap};
    /// An entry comes or goes.
    void CountAddresses(const CMTP2PIP& peer, bool comes) LUMO_REQUIRES(m_csPeers);

    std::map<uint32_t, Known> m_mapPeers LUMO_GUARDED_BY(m_csPeers);
    std::list<uint32_t> m_listByAge LUMO_GUARDED_BY(m_csPeers);         // their users, the last announced last
    std::map<uint32_t, size_t> m_announced LUMO_GUARDED_BY(m_csPeers);  // how many entries name an address
    CRemoteAddress m_sunServer;                                         // the reflector; unset until SetSunServer
    std::atomic<bool> m_bSTUNPending{false};
    IP2PNotify* const m_pNotify;  // the application's; outlives this object
};
