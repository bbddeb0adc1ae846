// The factories of the peer-to-peer manager and of the signalling client, and what is known of a peer. No exception
// crosses them.
#include "api/factory.h"
#include "link/process/instances.h"
#include "lumomedia/p2p.h"
#include "p2p/mtp2p.h"
#include "p2p/peer_subscription.h"
#include "p2p/signal_client.h"

#include <new>

IP2P* CreateP2P(IP2PNotify& notify) { return new (std::nothrow) CMTP2P(notify); }

bool GetP2PPeer(unsigned long ulUserID, P2PPeer& peer) {
    CMTP2P* manager = GetP2PMgr();
    const auto known = manager ? manager->GetMTP2PIP(static_cast<uint32_t>(ulUserID)) : nullptr;
    if (!known) return false;
    peer = {known->m_byState,        known->m_ulNATIP, known->m_usNATUDPPort, known->m_ulLocalIP,
            known->m_usLocalUDPPort, known->m_bUpnp,   known->m_heard.IP(),   known->m_heard.Port()};
    return true;
}

void SetP2PSubscribe(bool bSubscribe) { SetPeersAsked(bSubscribe); }

ISignalClient* CreateSignalClient(ISignalNotify& notify, unsigned long ulUserID, unsigned long ulIP,
                                  unsigned short usPort, int nProxyType, const char* pszProxyHost,
                                  unsigned short usProxyPort, const char* pszProxyUser, const char* pszProxyPassword) {
    const auto userID = static_cast<uint32_t>(ulUserID);
    const auto ip = static_cast<uint32_t>(ulIP);
    if (userID == 0 || ip == 0 || usPort == 0) return nullptr;
    return Connected(Make([&] { return new CSignalClient(notify, userID); }), [&](CSignalClient& client) {
        return client.Connect(ip, usPort, Proxy(nProxyType, pszProxyHost, usProxyPort, pszProxyUser, pszProxyPassword));
    });
}
