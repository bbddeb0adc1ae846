// The way to a peer: which of its addresses to use, over UDP and over TCP.
#pragma once

#include "link/process/instances.h"
#include "lumomedia/p2p.h"
#include "p2p/mtp2p.h"
#include "p2p/mtp2p_ip.h"

#include <cstdint>
#include <memory>

/// What a receiver needs of the peer-to-peer manager for its one peer. Without a manager nothing is ever known.
class CPeerPath {
public:
    /// Before anything else.
    void SetUser(uint32_t userID) { m_ulUserID = userID; }

    enum class Udp { Negotiating, Connected, Failed };

    /// Begins the punching.
    void StartUdp();
    /// One thread at a time.
    Udp GetUdp();
    /// Calls `use` with the public address, and with the LAN address when it is another.
    template <class Use>
    void ForEachUdpAddress(Use use) const {
        CMTP2P* manager = GetP2PMgr();
        if (const auto peer = Peer()) manager->ForEachUdpAddress(*peer, use);
    }

    /// Unknown: the peer's addresses have not come yet. SameNat: its LAN address. Open: its public address, at its LAN
    /// port, which a mapping or a public host keeps. Closed: no TCP connection can get in.
    enum class Tcp { Unknown, SameNat, Open, Closed };
    struct TcpWay {
        Tcp tcp = Tcp::Unknown;
        uint32_t ip = 0;
        uint16_t port = 0;
        bool reachable = false;                // whether anything may be sent there
        P2PItem own{};                         // this host
        std::shared_ptr<const CMTP2PIP> peer;  // null for Unknown
    };

    /// Asks for the peer's addresses unless they are known.
    void StartTcp();
    TcpWay GetTcp() const;

private:
    std::shared_ptr<CMTP2PIP> Peer() const;

    uint32_t m_ulUserID = 0;
    const CMTP2P* m_pKnewPeer = nullptr;  // to compare only
};
