// The factories of the desktop medium. No exception crosses them.
#include "api/factory.h"
#include "desktop/desktop_receiver.h"
#include "desktop/desktop_sender.h"

namespace {

template <class T, class TConnect>
T* MakeSender(IDesktopSenderNotify& notify, unsigned long channelID, TConnect connect) {
    return Connected(Make([&] { return CLocalMCUDesktop::CreateSender<T>(notify, static_cast<uint32_t>(channelID)); }),
                     connect);
}
template <class T, class TConnect>
T* MakeReceiver(IDesktopReceiverNotify& notify, unsigned long channelID, TConnect connect) {
    return Connected(
        Make([&] { return CLocalMCUDesktop::CreateReceiver<T>(notify, static_cast<uint32_t>(channelID)); }), connect);
}

}  // namespace

IDesktopSender* CreateDesktopSenderUDP(IDesktopSenderNotify& notify, unsigned long ulDesktopChannelID,
                                       unsigned long ulMCUIP0, unsigned long ulMCUIP1, unsigned long ulMCUIP2,
                                       unsigned short usMCUPort) {
    return MakeSender<CDesktopSenderUDP>(notify, ulDesktopChannelID, [&](CDesktopSenderUDP& sender) {
        return sender.Connect(Mcu(ulMCUIP0, ulMCUIP1, ulMCUIP2, usMCUPort));
    });
}

IDesktopSender* CreateDesktopSenderTCP(IDesktopSenderNotify& notify, unsigned long ulDesktopChannelID,
                                       unsigned long ulMCUIP0, unsigned long ulMCUIP1, unsigned long ulMCUIP2,
                                       unsigned short usMCUPort, int nProxyType, const char* pszProxyHost,
                                       unsigned short usProxyPort, const char* pszProxyUser,
                                       const char* pszProxyPassword) {
    return MakeSender<CDesktopSenderTCP>(notify, ulDesktopChannelID, [&](CDesktopSenderTCP& sender) {
        return sender.Connect(Mcu(ulMCUIP0, ulMCUIP1, ulMCUIP2, usMCUPort),
                              Proxy(nProxyType, pszProxyHost, usProxyPort, pszProxyUser, pszProxyPassword));
    });
}

IDesktopReceiver* CreateDesktopReceiverUDP(IDesktopReceiverNotify& notify, unsigned long ulDesktopChannelID,
                                           unsigned long ulPeerMCUIP0, unsigned long ulPeerMCUIP1,
                                           unsigned long ulPeerMCUIP2, unsigned short usPeerMCUPort,
                                           unsigned long ulLocalMCUIP0, unsigned long ulLocalMCUIP1,
                                           unsigned long ulLocalMCUIP2, unsigned short usLocalMCUPort,
                                           bool bPeerMCUOnly) {
    return MakeReceiver<CDesktopReceiverUDP>(notify, ulDesktopChannelID, [&](CDesktopReceiverUDP& receiver) {
        return receiver.Connect(Mcu(ulPeerMCUIP0, ulPeerMCUIP1, ulPeerMCUIP2, usPeerMCUPort),
                                Mcu(ulLocalMCUIP0, ulLocalMCUIP1, ulLocalMCUIP2, usLocalMCUPort), bPeerMCUOnly);
    });
}

IDesktopReceiver* CreateDesktopReceiverTCP(IDesktopReceiverNotify& notify, unsigned long ulDesktopChannelID,
                                           unsigned long ulPeerMCUIP0, unsigned long ulPeerMCUIP1,
                                           unsigned long ulPeerMCUIP2, unsigned short usPeerMCUPort,
                                           unsigned long ulLocalMCUIP0, unsigned long ulLocalMCUIP1,
                                           unsigned long ulLocalMCUIP2, unsigned short usLocalMCUPort, int nProxyType,
                                           const char* pszProxyHost, unsigned short usProxyPort,
                                           const char* pszProxyUser, const char* pszProxyPassword) {
    return MakeReceiver<CDesktopReceiverTCP>(notify, ulDesktopChannelID, [&](CDesktopReceiverTCP& receiver) {
        return receiver.Connect(Mcu(ulPeerMCUIP0, ulPeerMCUIP1, ulPeerMCUIP2, usPeerMCUPort),
                                Mcu(ulLocalMCUIP0, ulLocalMCUIP1, ulLocalMCUIP2, usLocalMCUPort),
                                Proxy(nProxyType, pszProxyHost, usProxyPort, pszProxyUser, pszProxyPassword));
    });
}

IDesktopReceiver* CreateDesktopReceiverP2P(IDesktopReceiverNotify& notify, unsigned long ulDesktopChannelID,
                                           unsigned long ulUserID) {
    return MakeReceiver<CDesktopReceiverP2P>(notify, ulDesktopChannelID, [&](CDesktopReceiverP2P& receiver) {
        return receiver.Connect(static_cast<uint32_t>(ulUserID));
    });
}

IDesktopReceiver* CreateDesktopReceiverP2PTCP(IDesktopReceiverNotify& notify, unsigned long ulDesktopChannelID,
                                              unsigned long ulUserID) {
    return MakeReceiver<CDesktopReceiverP2PTCP>(notify, ulDesktopChannelID, [&](CDesktopReceiverP2PTCP& receiver) {
        receiver.Connect(static_cast<uint32_t>(ulUserID));
        return true;
    });
}
