// How the factories get their senders and receivers: wholly made and open before anybody else can see them.
#include "file/file_receiver_tcp.h"
#include "file/file_receiver_udp.h"
#include "file/file_sender_tcp.h"
#include "file/file_sender_udp.h"
#include "file/local_mcu_file.h"

#include <memory>

CFileSenderUDP* CLocalMCUFile::CreateFileSenderUDP(IFileSenderNotify& notify, uint32_t channelID) {
    CFileSenderUDP* made = nullptr;
    CLocalMCUFile* mcu = GetLocalMCUFile();
    if (!mcu) return nullptr;
    mcu->m_mapFileChannel.With(channelID, [&](CFileChannel& channel) {
        auto sender = std::make_unique<CFileSenderUDP>(notify, channel);
        sender->StartSession();
        sender->JoinFileChannel();
        made = sender.release();
    });
    if (made) mcu->m_mapFileSender.Put(made->GetSenderKey(), made);
    return made;
}

CFileSenderTCP* CLocalMCUFile::CreateFileSenderTCP(IFileSenderNotify& notify, uint32_t channelID) {
    CFileSenderTCP* made = nullptr;
    CLocalMCUFile* mcu = GetLocalMCUFile();
    if (!mcu) return nullptr;
    mcu->m_mapFileChannel.With(channelID, [&](CFileChannel& channel) {
        made = new CFileSenderTCP(notify, channel);
        made->JoinFileChannel();
    });
    return made;
}

CFileReceiverUDP* CLocalMCUFile::CreateFileReceiverUDP(IFileReceiverNotify& notify, uint32_t channelID) {
    CFileReceiverUDP* made = nullptr;
    CLocalMCUFile* mcu = GetLocalMCUFile();
    if (!mcu) return nullptr;
    mcu->m_mapFileChannel.With(channelID, [&](CFileChannel& channel) {
        auto receiver = std::make_unique<CFileReceiverUDP>(notify, channel);
        receiver->StartSession();
        receiver->Attach();
        made = receiver.release();
    });
    if (made) mcu->AddFileReceiver(made);
    return made;
}

CFileReceiverTCP* CLocalMCUFile::CreateFileReceiverTCP(IFileReceiverNotify& notify, uint32_t channelID) {
    CFileReceiverTCP* made = nullptr;
    CLocalMCUFile* mcu = GetLocalMCUFile();
    if (!mcu) return nullptr;
    mcu->m_mapFileChannel.With(channelID, [&](CFileChannel& channel) {
        made = new CFileReceiverTCP(notify, channel);
        made->Attach();
    });
    return made;
}
