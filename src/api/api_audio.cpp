// The factories of the audio medium. No exception crosses them.
#include "api/factory.h"
#include "audio/audio_receiver.h"
#include "audio/audio_sender.h"
#include "audio/local_mcu_audio.h"
#include "lumomedia/audio.h"

IAudioSender* CreateAudioSenderUDP(IAudioSenderNotify& notify, unsigned long ulAudioChannelID, unsigned long ulMCUIP0,
                                   unsigned long ulMCUIP1, unsigned long ulMCUIP2, unsigned short usMCUPort) {
    return ConnectedSender<CAudioSenderUDP>(&CLocalMCUAudio::CreateAudioSenderUDP, notify, ulAudioChannelID,
                                            Mcu(ulMCUIP0, ulMCUIP1, ulMCUIP2, usMCUPort));
}

IAudioSender* CreateAudioSenderTCP(IAudioSenderNotify& notify, unsigned long ulAudioChannelID, unsigned long ulMCUIP0,
                                   unsigned long ulMCUIP1, unsigned long ulMCUIP2, unsigned short usMCUPort,
                                   int nProxyType, const char* pszProxyHost, unsigned short usProxyPort,
                                   const char* pszProxyUser, const char* pszProxyPassword) {
    return ConnectedSender<CAudioSenderTCP>(
        &CLocalMCUAudio::CreateAudioSenderTCP, notify, ulAudioChannelID, Mcu(ulMCUIP0, ulMCUIP1, ulMCUIP2, usMCUPort),
        Proxy(nProxyType, pszProxyHost, usProxyPort, pszProxyUser, pszProxyPassword));
}

IAudioReceiver* CreateAudioReceiverUDP(IAudioReceiverNotify& notify, unsigned long ulAudioChannelID,
                                       unsigned long ulMCUIP0, unsigned long ulMCUIP1, unsigned long ulMCUIP2,
                                       unsigned short usMCUPort, unsigned long ulLocalMCUIP0,
                                       unsigned long ulLocalMCUIP1, unsigned long ulLocalMCUIP2,
                                       unsigned short usLocalMCUPort, unsigned long ulUserID) {
    if (!GetLocalMCUAudio()) return nullptr;  // its datagrams come by way of it
    return ConnectedReceiver<CAudioReceiverUDP>(notify, ulAudioChannelID, ulUserID,
                                                Mcu(ulMCUIP0, ulMCUIP1, ulMCUIP2, usMCUPort),
                                                Mcu(ulLocalMCUIP0, ulLocalMCUIP1, ulLocalMCUIP2, usLocalMCUPort));
}

IAudioReceiver* CreateAudioReceiverTCP(IAudioReceiverNotify& notify, unsigned long ulAudioChannelID,
                                       unsigned long ulMCUIP0, unsigned long ulMCUIP1, unsigned long ulMCUIP2,
                                       unsigned short usMCUPort, unsigned long ulLocalMCUIP0,
                                       unsigned long ulLocalMCUIP1, unsigned long ulLocalMCUIP2,
                                       unsigned short usLocalMCUPort, unsigned long ulUserID, int nProxyType,
                                       const char* pszProxyHost, unsigned short usProxyPort, const char* pszProxyUser,
                                       const char* pszProxyPassword) {
    return ConnectedReceiver<CAudioReceiverTCP>(
        notify, ulAudioChannelID, ulUserID, Mcu(ulMCUIP0, ulMCUIP1, ulMCUIP2, usMCUPort),
        Mcu(ulLocalMCUIP0, ulLocalMCUIP1, ulLocalMCUIP2, usLocalMCUPort),
        Proxy(nProxyType, pszProxyHost, usProxyPort, pszProxyUser, pszProxyPassword));
}

IAudioReceiver* CreateAudioReceiverP2P(IAudioReceiverNotify& notify, unsigned long ulAudioChannelID,
                                       unsigned long ulUserID) {
    if (!GetLocalMCUAudio()) return nullptr;  // its datagrams come by way of it
    return ConnectedReceiver<CAudioReceiverP2P>(notify, ulAudioChannelID, ulUserID);
}
