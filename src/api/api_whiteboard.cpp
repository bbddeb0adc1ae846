// The factories of the whiteboard medium. No exception crosses them.
#include "api/factory.h"
#include "lumomedia/whiteboard.h"
#include "whiteboard/local_mcu_wb.h"
#include "whiteboard/wb_client_tcp.h"
#include "whiteboard/wb_client_udp.h"

IWBSessionClient* CreateWBSessionClientUDP(IWBSessionClientNotify& notify, unsigned long ulWBChannelID,
                                           unsigned long ulPeerMCUIP0, unsigned long ulPeerMCUIP1,
                                           unsigned long ulPeerMCUIP2, unsigned short usPeerMCUPort,
                                           unsigned long ulLocalMCUIP0, unsigned long ulLocalMCUIP1,
                                           unsigned long ulLocalMCUIP2, unsigned short usLocalMCUPort,
                                           bool bPeerMCUOnly) {
    auto* made =
        Make([&] { return CLocalMCUWB::CreateWBSessionClientUDP(notify, static_cast<uint32_t>(ulWBChannelID)); });
    return Connected(made, [&](CWBSessionClientUDP& client) {
        return client.Connect(Mcu(ulPeerMCUIP0, ulPeerMCUIP1, ulPeerMCUIP2, usPeerMCUPort),
                              Mcu(ulLocalMCUIP0, ulLocalMCUIP1, ulLocalMCUIP2, usLocalMCUPort), bPeerMCUOnly);
    });
}

IWBSessionClient* CreateWBSessionClientTCP(IWBSessionClientNotify& notify, unsigned long ulWBChannelID,
                                           unsigned long ulPeerMCUIP0, unsigned long ulPeerMCUIP1,
                                           unsigned long ulPeerMCUIP2, unsigned short usPeerMCUPort,
                                           unsigned long ulLocalMCUIP0, unsigned long ulLocalMCUIP1,
                                           unsigned long ulLocalMCUIP2, unsigned short usLocalMCUPort, int nProxyType,
                                           const char* pszProxyHost, unsigned short usProxyPort,
                                           const char* pszProxyUser, const char* pszProxyPassword) {
    auto* made =
        Make([&] { return CLocalMCUWB::CreateWBSessionClientTCP(notify, static_cast<uint32_t>(ulWBChannelID)); });
    return Connected(made, [&](CWBSessionClientTCP& client) {
        return client.Connect(Mcu(ulPeerMCUIP0, ulPeerMCUIP1, ulPeerMCUIP2, usPeerMCUPort),
                              Mcu(ulLocalMCUIP0, ulLocalMCUIP1, ulLocalMCUIP2, usLocalMCUPort),
                              Proxy(nProxyType, pszProxyHost, usProxyPort, pszProxyUser, pszProxyPassword));
    });
}

IWBSessionClient* CreateWBSessionClientP2P(IWBSessionClientNotify& notify, unsigned long ulWBChannelID,
                                           unsigned long ulUserID) {
    auto* made =
        Make([&] { return CLocalMCUWB::CreateWBSessionClientP2P(notify, static_cast<uint32_t>(ulWBChannelID)); });
    return Connected(made,
                     [&](CWBSessionClientP2P& client) { return client.Connect(static_cast<uint32_t>(ulUserID)); });
}

IWBSessionClient* CreateWBSessionClientP2PTCP(IWBSessionClientNotify& notify, unsigned long ulWBChannelID,
                                              unsigned long ulUserID) {
    auto* made =
        Make([&] { return CLocalMCUWB::CreateWBSessionClientP2PTCP(notify, static_cast<uint32_t>(ulWBChannelID)); });
    return Connected(made,
                     [&](CWBSessionClientP2PTCP& client) { return client.Connect(static_cast<uint32_t>(ulUserID)); });
}
