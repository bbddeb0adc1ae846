// The factories of the video medium. No exception crosses them.
#include "api/factory.h"
#include "lumomedia/video.h"
#include "video/local_mcu_video.h"
#include "video/video_receiver.h"
#include "video/video_sender.h"

IVideoSender* CreateVideoSenderUDP(IVideoSenderNotify& notify, unsigned long ulVideoChannelID, unsigned long ulMCUIP0,
                                   unsigned long ulMCUIP1, unsigned long ulMCUIP2, unsigned short usMCUPort) {
    return ConnectedSender<CVideoSenderUDP>(&CLocalMCUVideo::CreateVideoSenderUDP, notify, ulVideoChannelID,
                                            Mcu(ulMCUIP0, ulMCUIP1, ulMCUIP2, usMCUPort));
}

IVideoSender* CreateVideoSenderTCP(IVideoSenderNotify& notify, unsigned long ulVideoChannelID, unsigned long ulMCUIP0,
                                   unsigned long ulMCUIP1, unsigned long ulMCUIP2, unsigned short usMCUPort,
                                   int nProxyType, const char* pszProxyHost, unsigned short usProxyPort,
                                   const char* pszProxyUser, const char* pszProxyPassword) {
    return ConnectedSender<CVideoSenderTCP>(
        &CLocalMCUVideo::CreateVideoSenderTCP, notify, ulVideoChannelID, Mcu(ulMCUIP0, ulMCUIP1, ulMCUIP2, usMCUPort),
        Proxy(nProxyType, pszProxyHost, usProxyPort, pszProxyUser, pszProxyPassword));
}

IVideoReceiver* CreateVideoReceiverUDP(IVideoReceiverNotify& notify, unsigned long ulVideoChannelID,
                                       unsigned long ulMCUIP0, unsigned long ulMCUIP1, unsigned long ulMCUIP2,
                                       unsigned short usMCUPort, unsigned long ulLocalMCUIP0,
                                       unsigned long ulLocalMCUIP1, unsigned long ulLocalMCUIP2,
                                       unsigned short usLocalMCUPort, unsigned long ulUserID) {
    if (!GetLocalMCUVideo()) return nullptr;  // its datagrams come by way of it
    return ConnectedReceiver<CVideoReceiverUDP>(notify, ulVideoChannelID, ulUserID,
                                                Mcu(ulMCUIP0, ulMCUIP1, ulMCUIP2, usMCUPort),
                                                Mcu(ulLocalMCUIP0, ulLocalMCUIP1, ulLocalMCUIP2, usLocalMCUPort));
}

IVideoReceiver* CreateVideoReceiverTCP(IVideoReceiverNotify& notify, unsigned long ulVideoChannelID,
                                       unsigned long ulMCUIP0, unsigned long ulMCUIP1, unsigned long ulMCUIP2,
                                       unsigned short usMCUPort, unsigned long ulLocalMCUIP0,
                                       unsigned long ulLocalMCUIP1, unsigned long ulLocalMCUIP2,
                                       unsigned short usLocalMCUPort, unsigned long ulUserID, int nProxyType,
                                       const char* pszProxyHost, unsigned short usProxyPort, const char* pszProxyUser,
                                       const char* pszProxyPassword) {
    return ConnectedReceiver<CVideoReceiverTCP>(
        notify, ulVideoChannelID, ulUserID, Mcu(ulMCUIP0, ulMCUIP1, ulMCUIP2, usMCUPort),
        Mcu(ulLocalMCUIP0, ulLocalMCUIP1, ulLocalMCUIP2, usLocalMCUPort),
        Proxy(nProxyType, pszProxyHost, usProxyPort, pszProxyUser, pszProxyPassword));
}

IVideoReceiver* CreateVideoReceiverP2P(IVideoReceiverNotify& notify, unsigned long ulVideoChannelID,
                                       unsigned long ulUserID) {
    if (!GetLocalMCUVideo()) return nullptr;  // its datagrams come by way of it
    return ConnectedReceiver<CVideoReceiverP2P>(notify, ulVideoChannelID, ulUserID);
}
