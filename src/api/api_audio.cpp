// The factories of the audio medium. No exception crosses them.
#include "api/factory.h"
#include "audio/audio_receiver_p2p.h"
#include "audio/audio_receiver_tcp.h"
#include "audio/audio_receiver_udp.h"
#include "audio/audio_sender_tcp.h"
#include "audio/audio_sender_udp.h"
#include "audio/local_mcu_audio.h"
#include "lumomedia/audio.h"

namespace {

/// Receivers of audio belong to no channel of this host; those of datagrams need a local MCU.
template <class TReceiver>
TReceiver* MakeReceiver(IAudioReceiverNotify& notify, unsigned long channelID, unsigned long userID) {
    return Make([&] { return new TReceiver(notify, static_cast<uint32_t>(channelID), static_cast<uint32_t>(userID)); });
}

}  // namespace

IAudioSender* CreateAudioSenderUDP(IAudioSenderNotify& notify, unsigned long ulAudioChannelID, unsigned long ulMCUIP0,
                                   unsigned long ulMCUIP1, unsigned long ulMCUIP2, unsigned short usMCUPort) {
    const CMcuAddress mcu = Mcu(ulMCUIP0, ulMCUIP1, ulMCUIP2, usMCUPort);
    CAudioSender* made =
        Make([&] { return CLocalMCUAudio::CreateAudioSenderUDP(notify, static_cast<uint32_t>(ulAudioChannelID)); });
    return Connected(static_cast<CAudioSenderUDP*>(made), [&](CAudioSenderUDP& sender) {
        return sender.Connect(mcu.ips[0], mcu.ips[1], mcu.ips[2], mcu.port);
    });
}

IAudioSender* CreateAudioSenderTCP(IAudioSenderNotify& notify, unsigned long ulAudioChannelID, unsigned long ulMCUIP0,
                                   unsigned long ulMCUIP1, unsigned long ulMCUIP2, unsigned short usMCUPort,
                                   int nProxyType, const char* pszProxyHost, unsigned short usProxyPort,
                                   const char* pszProxyUser, const char* pszProxyPassword) {
    const CMcuAddress mcu = Mcu(ulMCUIP0, ulMCUIP1, ulMCUIP2, usMCUPort);
    CAudioSender* made =
        Make([&] { return CLocalMCUAudio::CreateAudioSenderTCP(notify, static_cast<uint32_t>(ulAudioChannelID)); });
    return Connected(static_cast<CAudioSenderTCP*>(made), [&](CAudioSenderTCP& sender) {
        return sender.Connect(mcu.ips[0], mcu.ips[1], mcu.ips[2], mcu.port,
                              Proxy(nProxyType, pszProxyHost, usProxyPort, pszProxyUser, pszProxyPassword));
    });
}

IAudioReceiver* CreateAudioReceiverUDP(IAudioReceiverNotify& notify, unsigned long ulAudioChannelID,
                                       unsigned long ulMCUIP0, unsigned long ulMCUIP1, unsigned long ulMCUIP2,
                                       unsigned short usMCUPort, unsigned long ulLocalMCUIP0,
                                       unsigned long ulLocalMCUIP1, unsigned long ulLocalMCUIP2,
                                       unsigned short usLocalMCUPort, unsigned long ulUserID) {
    if (!GetLocalMCUAudio()) return nullptr;
    return Connected(MakeReceiver<CAudioReceiverUDP>(notify, ulAudioChannelID, ulUserID),
                     [&](CAudioReceiverUDP& receiver) {
                         return receiver.Connect(Mcu(ulMCUIP0, ulMCUIP1, ulMCUIP2, usMCUPort),
                                                 Mcu(ulLocalMCUIP0, ulLocalMCUIP1, ulLocalMCUIP2, usLocalMCUPort));
                     });
}

IAudioReceiver* CreateAudioReceiverTCP(IAudioReceiverNotify& notify, unsigned long ulAudioChannelID,
                                       unsigned long ulMCUIP0, unsigned long ulMCUIP1, unsigned long ulMCUIP2,
                                       unsigned short usMCUPort, unsigned long ulLocalMCUIP0,
                                       unsigned long ulLocalMCUIP1, unsigned long ulLocalMCUIP2,
                                       unsigned short usLocalMCUPort, unsigned long ulUserID, int nProxyType,
                                       const char* pszProxyHost, unsigned short usProxyPort, const char* pszProxyUser,
                                       const char* pszProxyPassword) {
    return Connected(
        MakeReceiver<CAudioReceiverTCP>(notify, ulAudioChannelID, ulUserID), [&](CAudioReceiverTCP& receiver) {
            return receiver.Connect(Mcu(ulMCUIP0, ulMCUIP1, ulMCUIP2, usMCUPort),
                                    Mcu(ulLocalMCUIP0, ulLocalMCUIP1, ulLocalMCUIP2, usLocalMCUPort),
                                    Proxy(nProxyType, pszProxyHost, usProxyPort, pszProxyUser, pszProxyPassword));
        });
}

IAudioReceiver* CreateAudioReceiverP2P(IAudioReceiverNotify& notify, unsigned long ulAudioChannelID,
                                       unsigned long ulUserID) {
    if (!GetLocalMCUAudio()) return nullptr;
    return Connected(MakeReceiver<CAudioReceiverP2P>(notify, ulAudioChannelID, ulUserID),
                     [](CAudioReceiverP2P& receiver) { return receiver.Connect(); });
}
