#include "file/local_mcu_file.h"

#include "file/file_sender_udp.h"
#include "file/file_sink_tcp.h"
#include "file/file_sink_udp.h"
#include "link/mcu_services.h"
#include "platform/lumobase/app_log.h"

#include <memory>

CLocalMCUFile::CLocalMCUFile() { Instances().pFile.store(this, std::memory_order_release); }

CLocalMCUFile::~CLocalMCUFile() { Instances().pFile.store(nullptr, std::memory_order_release); }

void CLocalMCUFile::AddFileChannel(CFileChannel* channel) {
    m_tables.channels.Put(static_cast<uint32_t>(channel->GetFileChannelID()), channel);
}

void CLocalMCUFile::RemoveFileChannel(uint32_t channelID) { m_tables.RemoveChannel(channelID); }

void CLocalMCUFile::ForgetFileChannel(CFileChannel* channel) {
    m_tables.ForgetChannel(CFileChannelState::Of(*channel).hub.ID(), channel);
}

void CLocalMCUFile::AddFileSink(uint32_t sinkID, CFileSink* sink) {
    if (CFileSinkUDP* udp = sink->AsUDP())
        m_tables.sinks.Put(sinkID, sink, udp->GetFileChannelID(), udp->GetFileReceiverID());
    else
        m_tables.sinks.Put(sinkID, sink, sink->GetFileChannelID());
}

void CLocalMCUFile::RemoveFileSink(uint32_t sinkID) { m_tables.sinks.Take(sinkID); }

void CLocalMCUFile::RemoveDisconnectedFileSinks() { m_tables.EndDisconnectedSinks(); }

void CLocalMCUFile::RemoveAllFileSinks() { m_tables.EndAllSinks(); }

void CLocalMCUFile::RemoveFileSinks(uint32_t channelID) { m_tables.sinks.SweepChannel(channelID, CTables::EndSink); }

void CLocalMCUFile::AddFileReceiver(CFileReceiver* receiver) {
    LUMO_LOG_LINE("CLocalMCUFile::AddFileReceiver. FileReceiverID : %u", receiver->GetFileReceiverID());
    m_tables.receivers.Put(receiver->GetFileReceiverID(), receiver);
}

void CLocalMCUFile::RemoveFileReceiver(uint32_t receiverID) {
    LUMO_LOG_LINE("CLocalMCUFile::RemoveFileReceiver. FileReceiverID : %u", receiverID);
    m_tables.receivers.Take(receiverID);
}

void CLocalMCUFile::RemoveFileSenderUDP(uint32_t senderKey) { m_tables.senders.Take(senderKey); }

void CLocalMCUFile::ReleaseConnections() { RemoveAllFileSinks(); }

void CLocalMCUFile::OnTimer() { m_tables.OnSecond(); }

bool CLocalMCUFile::ProcessSend() { return m_tables.Pump(); }

// A sink whose session cannot be opened answers and times out.
bool CLocalMCUFile::ConnectFileSink(uint32_t receiverID, uint32_t channelID, uint32_t ip, uint16_t port) {
    return m_tables.Connect(receiverID, channelID, [&](CFileChannel& channel) -> std::unique_ptr<CFileSink> {
        auto sink = std::make_unique<CFileSinkUDP>(channel, ip, port, receiverID);
        sink->StartSession();
        return sink;
    });
}

bool CLocalMCUFile::OnTcpServerNotifyValidate(ITcpSession* session, unsigned long type, const char* data, int length) {
    if (type != static_cast<unsigned long>(wire::TcpType::FileReceiver) || !data || length != 4) return false;
    return AcceptFileSink(session, wire::CWireReader(data, length).U32()) != 0;
}

uint32_t CLocalMCUFile::AcceptFileSink(ITcpSession* session, uint32_t channelID) {
    return m_tables.Accept(channelID, [&](CFileChannel& channel) -> std::unique_ptr<CFileSink> {
        if (!AcceptTcpSession(session)) return nullptr;
        auto sink = std::make_unique<CFileSinkTCP>(channel, session);
        sink->AnswerValidation();
        return sink;
    });
}
