// The factories of the file medium. No exception crosses them.
#include "api/factory.h"
#include "file/file_receiver.h"
#include "file/file_sender.h"
#include "file/local_mcu_file.h"
#include "lumomedia/file.h"

IFileSender* CreateFileSenderUDP(IFileSenderNotify& notify, unsigned long ulFileChannelID, unsigned long ulMCUIP0,
                                 unsigned long ulMCUIP1, unsigned long ulMCUIP2, unsigned short usMCUPort) {
    const CMcuAddress mcu = Mcu(ulMCUIP0, ulMCUIP1, ulMCUIP2, usMCUPort);
    auto* made =
        Make([&] { return CLocalMCUFile::CreateFileSenderUDP(notify, static_cast<uint32_t>(ulFileChannelID)); });
    return Connected(made, [&](CFileSenderUDP& sender) { return sender.Connect(mcu); });
}

IFileSender* CreateFileSenderTCP(IFileSenderNotify& notify, unsigned long ulFileChannelID, unsigned long ulMCUIP0,
                                 unsigned long ulMCUIP1, unsigned long ulMCUIP2, unsigned short usMCUPort,
                                 int nProxyType, const char* pszProxyHost, unsigned short usProxyPort,
                                 const char* pszProxyUser, const char* pszProxyPassword) {
    LUMO_LOG_LINE("CLocalMCUFile::CreateFileSenderTCP");
    const CMcuAddress mcu = Mcu(ulMCUIP0, ulMCUIP1, ulMCUIP2, usMCUPort);
    CFileSender* pFileSender =
        Make([&] { return CLocalMCUFile::CreateFileSenderTCP(notify, static_cast<uint32_t>(ulFileChannelID)); });
    if (!pFileSender) {
        LUMO_LOG_ERROR("pFileSender is null");
        return nullptr;
    }
    LUMO_LOG_LINE("pFileSender is not null");
    auto* pFileSenderTCP = dynamic_cast<CFileSenderTCP*>(pFileSender);
    LUMO_LOG_LINE("pFileSenderTCP is %s", pFileSenderTCP ? "not null" : "null");
    return Connected(pFileSenderTCP, [&](CFileSenderTCP& sender) {
        return sender.Connect(mcu, Proxy(nProxyType, pszProxyHost, usProxyPort, pszProxyUser, pszProxyPassword));
    });
}

IFileReceiver* CreateFileReceiverUDP(IFileReceiverNotify& notify, unsigned long ulFileChannelID,
                                     unsigned long ulPeerMCUIP0, unsigned long ulPeerMCUIP1, unsigned long ulPeerMCUIP2,
                                     unsigned short usPeerMCUPort, unsigned long ulLocalMCUIP0,
                                     unsigned long ulLocalMCUIP1, unsigned long ulLocalMCUIP2,
                                     unsigned short usLocalMCUPort, bool bPeerMCUOnly) {
    auto* made =
        Make([&] { return CLocalMCUFile::CreateFileReceiverUDP(notify, static_cast<uint32_t>(ulFileChannelID)); });
    return Connected(made, [&](CFileReceiverUDP& receiver) {
        return receiver.Connect(Mcu(ulPeerMCUIP0, ulPeerMCUIP1, ulPeerMCUIP2, usPeerMCUPort),
                                Mcu(ulLocalMCUIP0, ulLocalMCUIP1, ulLocalMCUIP2, usLocalMCUPort), bPeerMCUOnly);
    });
}

IFileReceiver* CreateFileReceiverTCP(IFileReceiverNotify& notify, unsigned long ulFileChannelID,
                                     unsigned long ulPeerMCUIP0, unsigned long ulPeerMCUIP1, unsigned long ulPeerMCUIP2,
                                     unsigned short usPeerMCUPort, unsigned long ulLocalMCUIP0,
                                     unsigned long ulLocalMCUIP1, unsigned long ulLocalMCUIP2,
                                     unsigned short usLocalMCUPort, int nProxyType, const char* pszProxyHost,
                                     unsigned short usProxyPort, const char* pszProxyUser,
                                     const char* pszProxyPassword) {
    LUMO_LOG_LINE("create tcp-mcu receiver tcp. PeerMCUIP0 : %s, PeerMCUPort : %d, LocalMCUIP0 : %s, LocalMCUPort : %d",
                  GetIpAddr(ulPeerMCUIP0).c_str(), usPeerMCUPort, GetIpAddr(ulLocalMCUIP0).c_str(), usLocalMCUPort);
    auto* made =
        Make([&] { return CLocalMCUFile::CreateFileReceiverTCP(notify, static_cast<uint32_t>(ulFileChannelID)); });
    return Connected(made, [&](CFileReceiverTCP& receiver) {
        return receiver.Connect(Mcu(ulPeerMCUIP0, ulPeerMCUIP1, ulPeerMCUIP2, usPeerMCUPort),
                                Mcu(ulLocalMCUIP0, ulLocalMCUIP1, ulLocalMCUIP2, usLocalMCUPort),
                                Proxy(nProxyType, pszProxyHost, usProxyPort, pszProxyUser, pszProxyPassword));
    });
}

IFileReceiver* CreateFileReceiverP2P(IFileReceiverNotify& notify, unsigned long ulFileChannelID,
                                     unsigned long ulUserID) {
    auto* made =
        Make([&] { return CLocalMCUFile::CreateFileReceiverP2P(notify, static_cast<uint32_t>(ulFileChannelID)); });
    return Connected(made,
                     [&](CFileReceiverP2P& receiver) { return receiver.Connect(static_cast<uint32_t>(ulUserID)); });
}

IFileReceiver* CreateFileReceiverP2PTCP(IFileReceiverNotify& notify, unsigned long ulFileChannelID,
                                        unsigned long ulUserID) {
    LUMO_LOG_LINE("CreateFileReceiverP2PTCP(FileChannelID : %u, UserID : %u)", static_cast<uint32_t>(ulFileChannelID),
                  static_cast<uint32_t>(ulUserID));
    auto* made =
        Make([&] { return CLocalMCUFile::CreateFileReceiverP2PTCP(notify, static_cast<uint32_t>(ulFileChannelID)); });
    return Connected(made, [&](CFileReceiverP2PTCP& receiver) {
        receiver.Connect(static_cast<uint32_t>(ulUserID));
        return true;
    });
}
