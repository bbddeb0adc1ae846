// The factories of the file medium. No exception crosses them.
#include "file/file_receiver_tcp.h"
#include "file/file_receiver_udp.h"
#include "file/file_sender_tcp.h"
#include "file/file_sender_udp.h"
#include "file/local_mcu_file.h"
#include "lumomedia/file.h"
#include "platform/lumobase/app_log.h"

namespace {

CMcuAddress Mcu(unsigned long ip0, unsigned long ip1, unsigned long ip2, unsigned short port) {
    return {{static_cast<uint32_t>(ip0), static_cast<uint32_t>(ip1), static_cast<uint32_t>(ip2)}, port};
}

CProxy Proxy(int type, const char* host, unsigned short port, const char* user, const char* password) {
    return {type, host, port, user, password};
}

/// Gives `made` back when `connect` agrees, else releases it; null for null and after an exception.
template <class TMade, class TConnect>
TMade* Connected(TMade* made, TConnect connect) {
    if (!made) return nullptr;
    try {
        if (connect(*made)) return made;
    } catch (...) {
        AppLog().debug("A factory failed");
    }
    made->ReleaseConnections();
    return nullptr;
}

template <class TMake>
auto Make(TMake make) -> decltype(make()) {
    try {
        return make();
    } catch (...) {
        AppLog().debug("A factory failed");
        return nullptr;
    }
}

}  // namespace

IFileSender* CreateFileSenderUDP(IFileSenderNotify& notify, unsigned long ulFileChannelID, unsigned long ulMCUIP0,
                                 unsigned long ulMCUIP1, unsigned long ulMCUIP2, unsigned short usMCUPort) {
    const CMcuAddress mcu = Mcu(ulMCUIP0, ulMCUIP1, ulMCUIP2, usMCUPort);
    auto* made =
        Make([&] { return CLocalMCUFile::CreateFileSenderUDP(notify, static_cast<uint32_t>(ulFileChannelID)); });
    return Connected(
        made, [&](CFileSenderUDP& sender) { return sender.Connect(mcu.ips[0], mcu.ips[1], mcu.ips[2], mcu.port); });
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
        LUMO_LOG_LINE("pFileSender is null");
        return nullptr;
    }
    LUMO_LOG_LINE("pFileSender is not null");
    auto* pFileSenderTCP = dynamic_cast<CFileSenderTCP*>(pFileSender);
    LUMO_LOG_LINE("pFileSenderTCP is %s", pFileSenderTCP ? "not null" : "null");
    return Connected(pFileSenderTCP, [&](CFileSenderTCP& sender) {
        return sender.Connect(mcu.ips[0], mcu.ips[1], mcu.ips[2], mcu.port,
                              Proxy(nProxyType, pszProxyHost, usProxyPort, pszProxyUser, pszProxyPassword));
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
