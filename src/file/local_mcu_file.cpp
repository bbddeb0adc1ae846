#include "file/local_mcu_file.h"

#include "file/file_sender_udp.h"
#include "file/file_sink_tcp.h"
#include "file/file_sink_udp.h"
#include "link/mcu_services.h"
#include "platform/lumobase/app_log.h"

#include <memory>

namespace {

CSinkInfo Describe(CFileSink& sink) {
    CSinkInfo info{wire::Kind::File, sink.GetFileSinkID(), sink.GetFileChannelID(), 0, 0, false, sink.GetFrameLink()};
    if (CFileSinkUDP* udp = sink.AsUDP()) {
        info.ip = udp->GetRemoteIP();
        info.port = udp->GetRemotePort();
    } else if (auto* tcp = dynamic_cast<CFileSinkTCP*>(&sink)) {
        info.ip = tcp->GetRemoteIP();
        info.port = tcp->GetRemotePort();
        info.tcp = true;
    }
    return info;
}

}  // namespace

CLocalMCUFile::CLocalMCUFile() { Instances().pFile.store(this, std::memory_order_release); }

CLocalMCUFile::~CLocalMCUFile() { Instances().pFile.store(nullptr, std::memory_order_release); }

void CLocalMCUFile::AddFileChannel(CFileChannel* channel) {
    m_mapFileChannel.Put(static_cast<uint32_t>(channel->GetFileChannelID()), channel);
}

void CLocalMCUFile::RemoveFileChannel(uint32_t channelID) {
    {
        CAutoLock gate(&m_csConnectGate);
        m_mapFileChannel.Take(channelID);
    }
    RemoveFileSinks(channelID);
}

void CLocalMCUFile::ForgetFileChannel(CFileChannel* channel) {
    const CFileChannelState& state = CFileChannelState::Of(*channel);
    CFileChannel* found = nullptr;
    {
        CAutoLock gate(&m_csConnectGate);
        found = m_mapFileChannel.TakeIf(state.hub.ID(), [&](CFileChannel& other) { return &other == channel; });
    }
    if (found) RemoveFileSinks(state.hub.ID());
}

bool CLocalMCUFile::HasFileChannel(uint32_t channelID) {
    return m_mapFileChannel.With(channelID, [](CFileChannel&) {});
}

void CLocalMCUFile::AddFileSink(uint32_t sinkID, CFileSink* sink) {
    if (CFileSinkUDP* udp = sink->AsUDP())
        m_mapFileSink.Put(sinkID, sink, udp->GetFileChannelID(), udp->GetFileReceiverID());
    else
        m_mapFileSink.Put(sinkID, sink, sink->GetFileChannelID());
}

void CLocalMCUFile::RemoveFileSink(uint32_t sinkID) { m_mapFileSink.Take(sinkID); }

void CLocalMCUFile::EndSink(CFileSink* sink) {
    const std::unique_ptr<CFileSink> owner(sink);
    IServerHooks* hooks = GetServerHooks();
    const CSinkInfo info = hooks ? Describe(*sink) : CSinkInfo{};
    sink->ReleaseConnections();
    if (hooks) hooks->OnSinkGone(info);
}

bool CLocalMCUFile::EndFileSink(uint32_t sinkID) {
    return m_mapFileSink.EndIf(
        sinkID, [](CFileSink&) { return true; }, EndSink);
}

void CLocalMCUFile::RemoveDisconnectedFileSinks() {
    m_mapFileSink.Sweep([](CFileSink& sink) { return sink.IsDisconnected(); }, EndSink);
}

void CLocalMCUFile::RemoveAllFileSinks() {
    m_mapFileSink.Sweep([](CFileSink&) { return true; }, EndSink);
}

void CLocalMCUFile::RemoveFileSinks(uint32_t channelID) { m_mapFileSink.SweepChannel(channelID, EndSink); }

void CLocalMCUFile::AddFileReceiver(CFileReceiver* receiver) {
    LUMO_LOG_LINE("CLocalMCUFile::AddFileReceiver. FileReceiverID : %u", receiver->GetFileReceiverID());
    m_mapFileReceiver.Put(receiver->GetFileReceiverID(), receiver);
}

void CLocalMCUFile::RemoveFileReceiver(uint32_t receiverID) {
    LUMO_LOG_LINE("CLocalMCUFile::RemoveFileReceiver. FileReceiverID : %u", receiverID);
    m_mapFileReceiver.Take(receiverID);
}

void CLocalMCUFile::RemoveFileSenderUDP(uint32_t senderKey) { m_mapFileSender.Take(senderKey); }

void CLocalMCUFile::ReleaseConnections() { RemoveAllFileSinks(); }

void CLocalMCUFile::OnTimer() { RemoveDisconnectedFileSinks(); }

bool CLocalMCUFile::ProcessSend() {
    bool sent = false;
    const auto pump = [&](auto& endpoint) {
        CFrameLink* link = endpoint.GetFrameLink();
        if (link && link->Pump()) sent = true;
    };
    m_mapFileSink.ForEach(pump);
    m_mapFileReceiver.ForEach(pump);
    m_mapFileSender.ForEach(pump);
    return sent;
}

bool CLocalMCUFile::ConnectFileSink(uint32_t receiverID, uint32_t channelID, uint32_t ip, uint16_t port) {
    const auto acknowledge = [](CFileSink& sink) { sink.AsUDP()->OnReceivedConnect(); };
    CAutoLock gate(&m_csConnectGate);
    if (m_mapFileSink.WithPair(channelID, receiverID, acknowledge)) return true;
    if (m_mapFileSink.Size() >= m_nMaxSinks) return false;
    CFileSink* sink = MakeSinkUDP(receiverID, channelID, ip, port);
    if (!sink) return false;
    const uint32_t sinkID = sink->GetFileSinkID();
    AddFileSink(sinkID, sink);
    return m_mapFileSink.With(sinkID, acknowledge);
}

CFileSink* CLocalMCUFile::MakeSinkUDP(uint32_t receiverID, uint32_t channelID, uint32_t ip, uint16_t port) {
    CFileSink* made = nullptr;
    m_mapFileChannel.With(channelID, [&](CFileChannel& channel) {
        auto sink = std::make_unique<CFileSinkUDP>(channel, ip, port, receiverID);
        sink->StartSession();  // one that cannot be opened answers and times out
        if (IServerHooks* hooks = GetServerHooks()) hooks->OnSinkMade(Describe(*sink));
        sink->JoinFileChannel();
        made = sink.release();
    });
    return made;
}

bool CLocalMCUFile::OnTcpServerNotifyValidate(ITcpSession* session, unsigned long type, const char* data, int length) {
    if (type != static_cast<unsigned long>(wire::TcpType::FileReceiver) || !data || length != 4) return false;
    return AcceptFileSink(session, wire::CWireReader(data, length).U32()) != 0;
}

uint32_t CLocalMCUFile::AcceptFileSink(ITcpSession* session, uint32_t channelID) {
    CAutoLock gate(&m_csConnectGate);
    if (m_mapFileSink.Size() >= m_nMaxSinks) return 0;
    CFileSink* sink = MakeSinkTCP(session, channelID);
    if (!sink) return 0;
    const uint32_t sinkID = sink->GetFileSinkID();
    AddFileSink(sinkID, sink);
    return sinkID;
}

CFileSink* CLocalMCUFile::MakeSinkTCP(ITcpSession* session, uint32_t channelID) {
    CFileSink* made = nullptr;
    m_mapFileChannel.With(channelID, [&](CFileChannel& channel) {
        if (!AcceptTcpSession(session)) return;
        auto sink = std::make_unique<CFileSinkTCP>(channel, session);
        if (IServerHooks* hooks = GetServerHooks()) hooks->OnSinkMade(Describe(*sink));
        sink->AnswerValidation();
        sink->JoinFileChannel();
        made = sink.release();
    });
    return made;
}
