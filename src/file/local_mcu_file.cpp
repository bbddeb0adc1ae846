#include "file/local_mcu_file.h"

#include "file/file_receiver.h"
#include "file/file_sender.h"
#include "file/file_sink.h"
#include "platform/lumobase/app_log.h"

CLocalMCUFile::CLocalMCUFile() : CShareMcu(media::kFile, ShareSinkMakers<CFileSinkUDP, CFileSinkTCP>()) {
    Instances().pFile.store(this, std::memory_order_release);
}

CLocalMCUFile::~CLocalMCUFile() { Instances().pFile.store(nullptr, std::memory_order_release); }

void CLocalMCUFile::AddFileSink(uint32_t sinkID, CFileSink* sink) { PutSink(sinkID, sink); }

void CLocalMCUFile::AddFileReceiver(CFileReceiver* receiver) {
    LUMO_LOG_LINE("CLocalMCUFile::AddFileReceiver. FileReceiverID : %u", receiver->GetFileReceiverID());
    PutReceiver(*receiver);
}

void CLocalMCUFile::RemoveFileReceiver(uint32_t receiverID) {
    LUMO_LOG_LINE("CLocalMCUFile::RemoveFileReceiver. FileReceiverID : %u", receiverID);
    Tables().receivers.Take(receiverID);
}

void CLocalMCUFile::OnUdpClientNotifyReceivedFrame(const char* data, int length, unsigned long ip,
                                                   unsigned short port) {
    LUMO_LOG_DEBUG("CLocalMCUFile::OnUdpClientNotifyReceivedFrame");
    DispatchDatagram<CShareMcu>(*this, m_rows, m_medium.kind, data, length, static_cast<uint32_t>(ip), port,
                                [](const wire::CommandRow& row) { LUMO_LOG_DEBUG("%s", row.name); });
}

namespace {

/// One that datagrams reach.
template <class T>
T* Registered(T* receiver) {
    return Entered(receiver, [](T& made) { GetLocalMCUFile()->AddFileReceiver(&made); });
}

}  // namespace

CFileSenderUDP* CLocalMCUFile::CreateFileSenderUDP(IFileSenderNotify& notify, uint32_t channelID) {
    return MakeSender<CFileSenderUDP>(GetLocalMCUFile(), notify, channelID);
}

CFileSenderTCP* CLocalMCUFile::CreateFileSenderTCP(IFileSenderNotify& notify, uint32_t channelID) {
    return MakeSender<CFileSenderTCP>(GetLocalMCUFile(), notify, channelID);
}

CFileReceiverUDP* CLocalMCUFile::CreateFileReceiverUDP(IFileReceiverNotify& notify, ChannelKey key) {
    return Registered(MakeShareReceiver<CFileReceiverUDP>(GetLocalMCUFile(), notify, key));
}

CFileReceiverP2P* CLocalMCUFile::CreateFileReceiverP2P(IFileReceiverNotify& notify, uint32_t channelID) {
    LUMO_LOG_LINE("LocalMCUFile::CreateFileReceiverP2P. ulFileChannelID : %u", channelID);
    return Registered(MakeShareReceiver<CFileReceiverP2P>(GetLocalMCUFile(), notify, channelID));
}

CFileReceiverTCP* CLocalMCUFile::CreateFileReceiverTCP(IFileReceiverNotify& notify, ChannelKey key) {
    return MakeShareReceiver<CFileReceiverTCP>(GetLocalMCUFile(), notify, key);
}

CFileReceiverP2PTCP* CLocalMCUFile::CreateFileReceiverP2PTCP(IFileReceiverNotify& notify, uint32_t channelID) {
    LUMO_LOG_LINE("CLocalMCUFile::CreateFileReceiverP2PTCP. ulFileChannelID : %u", channelID);
    CLocalMCUFile* mcu = GetLocalMCUFile();
    if (mcu && mcu->Tables().channels.With(channelID, [](CShareChannel&) {}))
        LUMO_LOG_LINE("CCFileReceiverP2PTCP. ulFileChannelID : %u", channelID);
    return MakeShareReceiver<CFileReceiverP2PTCP>(GetLocalMCUFile(), notify, channelID);
}
