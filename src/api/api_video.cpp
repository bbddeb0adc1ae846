// The factories of the video medium. No exception crosses them.
#include "api/factory.h"
#include "lumomedia/video.h"
#include "video/local_mcu_video.h"
#include "video/video_receiver_p2p.h"
#include "video/video_receiver_tcp.h"
#include "video/video_receiver_udp.h"
#include "video/video_sender_tcp.h"
#include "video/video_sender_udp.h"

namespace {

/// Receivers of video belong to no channel of this host; those of datagrams need a local MCU.
template <class TReceiver>
TReceiver* MakeReceiver(IVideoReceiverNotify& notify, unsigned long channelID, unsigned long userID) {
    return Make([&] { return new TReceiver(notify, static_cast<uint32_t>(channelID), static_cast<uint32_t>(userID)); });
}

}  // namespace

IVideoSender* CreateVideoSenderUDP(IVideoSenderNotify& notify, unsigned long ulVideoChannelID, unsigned long ulMCUIP0,
                                   unsigned long ulMCUIP1, unsigned long ulMCUIP2, unsigned short usMCUPort) {
    const CMcuAddress mcu = Mcu(ulMCUIP0, ulMCUIP1, ulMCUIP2, usMCUPort);
    CVideoSender* made =
        Make([&] { return CLocalMCUVideo::CreateVideoSenderUDP(notify, static_cast<uint32_t>(ulVideoChannelID)); });
    return Connected(static_cast<CVideoSenderUDP*>(made), [&](CVideoSenderUDP& sender) {
        return sender.Connect(mcu.ips[0], mcu.ips[1], mcu.ips[2], mcu.port);
    });
}

IVideoSender* CreateVideoSenderTCP(IVideoSenderNotify& notify, unsigned long ulVideoChannelID, unsigned long ulMCUIP0,
                                   unsigned long ulMCUIP1, unsigned long ulMCUIP2, unsigned short usMCUPort,
                                   int nProxyType, const char* pszProxyHost, unsigned short usProxyPort,
                                   const char* pszProxyUser, const char* pszProxyPassword) {
    const CMcuAddress mcu = Mcu(ulMCUIP0, ulMCUIP1, ulMCUIP2, usMCUPort);
    CVideoSender* made =
        Make([&] { return CLocalMCUVideo::CreateVideoSenderTCP(notify, static_cast<uint32_t>(ulVideoChannelID)); });
    return Connected(static_cast<CVideoSenderTCP*>(made), [&](CVideoSenderTCP& sender) {
        return sender.Connect(mcu.ips[0], mcu.ips[1], mcu.ips[2], mcu.port,
                              Proxy(nProxyType, pszProxyHost, usProxyPort, pszProxyUser, pszProxyPassword));
    });
}

IVideoReceiver* CreateVideoReceiverUDP(IVideoReceiverNotify& notify, unsigned long ulVideoChannelID,
                                       unsigned long ulMCUIP0, unsigned long ulMCUIP1, unsigned long ulMCUIP2,
                                       unsigned short usMCUPort, unsigned long ulLocalMCUIP0,
                                       unsigned long ulLocalMCUIP1, unsigned long ulLocalMCUIP2,
                                       unsigned short usLocalMCUPort, unsigned long ulUserID) {
    if (!GetLocalMCUVideo()) return nullptr;
    return Connected(MakeReceiver<CVideoReceiverUDP>(notify, ulVideoChannelID, ulUserID),
                     [&](CVideoReceiverUDP& receiver) {
                         return receiver.Connect(Mcu(ulMCUIP0, ulMCUIP1, ulMCUIP2, usMCUPort),
                                                 Mcu(ulLocalMCUIP0, ulLocalMCUIP1, ulLocalMCUIP2, usLocalMCUPort));
                     });
}

IVideoReceiver* CreateVideoReceiverTCP(IVideoReceiverNotify& notify, unsigned long ulVideoChannelID,
                                       unsigned long ulMCUIP0, unsigned long ulMCUIP1, unsigned long ulMCUIP2,
                                       unsigned short usMCUPort, unsigned long ulLocalMCUIP0,
                                       unsigned long ulLocalMCUIP1, unsigned long ulLocalMCUIP2,
                                       unsigned short usLocalMCUPort, unsigned long ulUserID, int nProxyType,
                                       const char* pszProxyHost, unsigned short usProxyPort, const char* pszProxyUser,
                                       const char* pszProxyPassword) {
    return Connected(
        MakeReceiver<CVideoReceiverTCP>(notify, ulVideoChannelID, ulUserID), [&](CVideoReceiverTCP& receiver) {
            return receiver.Connect(Mcu(ulMCUIP0, ulMCUIP1, ulMCUIP2, usMCUPort),
                                    Mcu(ulLocalMCUIP0, ulLocalMCUIP1, ulLocalMCUIP2, usLocalMCUPort),
                                    Proxy(nProxyType, pszProxyHost, usProxyPort, pszProxyUser, pszProxyPassword));
        });
}

IVideoReceiver* CreateVideoReceiverP2P(IVideoReceiverNotify& notify, unsigned long ulVideoChannelID,
                                       unsigned long ulUserID) {
    if (!GetLocalMCUVideo()) return nullptr;
    return Connected(MakeReceiver<CVideoReceiverP2P>(notify, ulVideoChannelID, ulUserID),
                     [](CVideoReceiverP2P& receiver) { return receiver.Connect(); });
}
