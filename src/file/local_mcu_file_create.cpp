// How the factories get their senders and receivers.
#include "file/file_receiver_p2p.h"
#include "file/file_receiver_p2p_tcp.h"
#include "file/file_receiver_tcp.h"
#include "file/file_receiver_udp.h"
#include "file/file_sender_tcp.h"
#include "file/file_sender_udp.h"
#include "file/local_mcu_file.h"
#include "link/mcu_create.h"

namespace {

/// Null without a local MCU or for an unknown channel.
template <class T>
T* MakeSender(IFileSenderNotify& notify, uint32_t channelID) {
    CLocalMCUFile* mcu = GetLocalMCUFile();
    if (!mcu) return nullptr;
    return MakeOnChannel<T>(mcu->Tables(), notify, channelID, [](CFileSink& sender) { sender.Join(); });
}
template <class T>
T* MakeReceiver(IFileReceiverNotify& notify, uint32_t channelID) {
    CLocalMCUFile* mcu = GetLocalMCUFile();
    if (!mcu) return nullptr;
    return MakeOnChannel<T>(mcu->Tables(), notify, channelID, [](CFileReceiver& receiver) { receiver.Attach(); });
}
/// One that datagrams reach.
template <class T>
T* Registered(T* receiver) {
    if (receiver) GetLocalMCUFile()->AddFileReceiver(receiver);
    return receiver;
}

}  // namespace

CFileSenderUDP* CLocalMCUFile::CreateFileSenderUDP(IFileSenderNotify& notify, uint32_t channelID) {
    auto* made = MakeSender<CFileSenderUDP>(notify, channelID);
    if (made) GetLocalMCUFile()->m_tables.senders.Put(made->GetSenderKey(), made);
    return made;
}

CFileSenderTCP* CLocalMCUFile::CreateFileSenderTCP(IFileSenderNotify& notify, uint32_t channelID) {
    return MakeSender<CFileSenderTCP>(notify, channelID);
}

CFileReceiverUDP* CLocalMCUFile::CreateFileReceiverUDP(IFileReceiverNotify& notify, uint32_t channelID) {
    return Registered(MakeReceiver<CFileReceiverUDP>(notify, channelID));
}

CFileReceiverP2P* CLocalMCUFile::CreateFileReceiverP2P(IFileReceiverNotify& notify, uint32_t channelID) {
    return Registered(MakeReceiver<CFileReceiverP2P>(notify, channelID));
}

CFileReceiverTCP* CLocalMCUFile::CreateFileReceiverTCP(IFileReceiverNotify& notify, uint32_t channelID) {
    return MakeReceiver<CFileReceiverTCP>(notify, channelID);
}

CFileReceiverP2PTCP* CLocalMCUFile::CreateFileReceiverP2PTCP(IFileReceiverNotify& notify, uint32_t channelID) {
    return MakeReceiver<CFileReceiverP2PTCP>(notify, channelID);
}
