// How the factories get their senders and receivers: wholly made and open before anybody else can see them.
#include "file/file_receiver_p2p.h"
#include "file/file_receiver_p2p_tcp.h"
#include "file/file_receiver_tcp.h"
#include "file/file_receiver_udp.h"
#include "file/file_sender_tcp.h"
#include "file/file_sender_udp.h"
#include "file/local_mcu_file.h"

#include <memory>

namespace {

/// What comes between the making of an object and its entry into the channel.
template <class T>
void Prepare(T& made) {
    if constexpr (requires { made.StartSession(); }) made.StartSession();
}
void Enter(CFileSink& sender) { sender.JoinFileChannel(); }
void Enter(CFileReceiver& receiver) { receiver.Attach(); }

}  // namespace

template <class T, class TNotify>
T* CLocalMCUFile::Make(TNotify& notify, uint32_t channelID) {
    std::unique_ptr<T> made;
    m_mapFileChannel.With(channelID, [&](CFileChannel& channel) {
        made = std::make_unique<T>(notify, channel);
        Prepare(*made);
        Enter(*made);
    });
    return made.release();
}

CFileSenderUDP* CLocalMCUFile::CreateFileSenderUDP(IFileSenderNotify& notify, uint32_t channelID) {
    CLocalMCUFile* mcu = GetLocalMCUFile();
    CFileSenderUDP* made = mcu ? mcu->Make<CFileSenderUDP>(notify, channelID) : nullptr;
    if (made) mcu->m_mapFileSender.Put(made->GetSenderKey(), made);
    return made;
}

CFileSenderTCP* CLocalMCUFile::CreateFileSenderTCP(IFileSenderNotify& notify, uint32_t channelID) {
    CLocalMCUFile* mcu = GetLocalMCUFile();
    return mcu ? mcu->Make<CFileSenderTCP>(notify, channelID) : nullptr;
}

CFileReceiverUDP* CLocalMCUFile::CreateFileReceiverUDP(IFileReceiverNotify& notify, uint32_t channelID) {
    CLocalMCUFile* mcu = GetLocalMCUFile();
    CFileReceiverUDP* made = mcu ? mcu->Make<CFileReceiverUDP>(notify, channelID) : nullptr;
    if (made) mcu->AddFileReceiver(made);
    return made;
}

CFileReceiverP2P* CLocalMCUFile::CreateFileReceiverP2P(IFileReceiverNotify& notify, uint32_t channelID) {
    CLocalMCUFile* mcu = GetLocalMCUFile();
    CFileReceiverP2P* made = mcu ? mcu->Make<CFileReceiverP2P>(notify, channelID) : nullptr;
    if (made) mcu->AddFileReceiver(made);
    return made;
}

CFileReceiverTCP* CLocalMCUFile::CreateFileReceiverTCP(IFileReceiverNotify& notify, uint32_t channelID) {
    CLocalMCUFile* mcu = GetLocalMCUFile();
    return mcu ? mcu->Make<CFileReceiverTCP>(notify, channelID) : nullptr;
}

CFileReceiverP2PTCP* CLocalMCUFile::CreateFileReceiverP2PTCP(IFileReceiverNotify& notify, uint32_t channelID) {
    CLocalMCUFile* mcu = GetLocalMCUFile();
    return mcu ? mcu->Make<CFileReceiverP2PTCP>(notify, channelID) : nullptr;
}
