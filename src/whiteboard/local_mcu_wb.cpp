#include "whiteboard/local_mcu_wb.h"

#include "link/process/mcu_services.h"
#include "link/tables/mcu_create.h"
#include "whiteboard/wb_client_tcp.h"
#include "whiteboard/wb_client_udp.h"
#include "whiteboard/wb_server_session.h"

#include <memory>

namespace {

ChannelKey KeyOf(CWBChannel& channel) { return CWBChannelState::Of(channel).Key(); }
uint32_t IDOf(CWBSession& session) { return static_cast<uint32_t>(session.GetWBSessionID()); }

template <class T>
T* MakeClient(IWBSessionClientNotify& notify, ChannelKey key) {
    CLocalMCUWB* mcu = GetLocalMCUWB();
    if (!mcu) return nullptr;
    auto& channels = mcu->Tables().channels;
    if (!channels.Lock(key)) {
        for (CWBChannel& first : channels.Each()) {
            key = KeyOf(first);
            break;
        }
    }
    return MakeOnChannel<T>(mcu->Tables(), notify, key, [](T&) {});
}

}  // namespace

CLocalMCUWB::CLocalMCUWB() { Instances().pWB.store(this, std::memory_order_release); }

CLocalMCUWB::~CLocalMCUWB() { Instances().pWB.store(nullptr, std::memory_order_release); }

void CLocalMCUWB::AddWBChannel(CWBChannel* channel) {
    if (channel) m_tables.channels.Put(KeyOf(*channel), channel);
}

void CLocalMCUWB::RemoveWBChannel(CWBChannel* channel) {
    if (!channel) return;
    ForgetWBChannel(channel);
    ReleaseWBServerSessions();
}

void CLocalMCUWB::ForgetWBChannel(CWBChannel* channel) { m_tables.ForgetChannel(KeyOf(*channel), channel); }

void CLocalMCUWB::AddWBClient(CWBClientUDP* client) { m_tables.receivers.Put(IDOf(*client), client); }

void CLocalMCUWB::RemoveWBClient(CWBClientUDP* client) { m_tables.receivers.Take(IDOf(*client)); }

void CLocalMCUWB::AddWBServerSession(CWBServerSession* session) {
    m_tables.sinks.Put(IDOf(*session), session, session->Info().channel);
}

void CLocalMCUWB::RemoveWBServerSession(CWBServerSession* session) { m_tables.sinks.Take(IDOf(*session)); }

void CLocalMCUWB::ReleaseWBChannels() {
    m_tables.channels.Sweep([](CWBChannel&) { return true; },
                            [this](CWBChannel* channel) {
                                const bool deleted = CWBChannelState::Of(*channel).deleted;
                                m_tables.sinks.SweepChannel(KeyOf(*channel), CTables::EndSink);
                                if (deleted) delete channel;
                            });
}

void CLocalMCUWB::RemoveEmptyWBChannels() {
    m_tables.channels.Sweep([](CWBChannel& channel) { return channel.IsEmpty(); },
                            [](CWBChannel* channel) { delete channel; });
}

void CLocalMCUWB::ReleaseConnections() {
    ReleaseWBServerSessions();
    ReleaseWBChannels();
}

bool CLocalMCUWB::ConnectWBSession(uint32_t clientSessionID, ChannelKey key, uint32_t ip, uint16_t port) {
    return m_tables.Connect(clientSessionID, key, ip, [&](CWBChannel& channel) -> std::unique_ptr<CWBServerSession> {
        auto session = std::make_unique<CWBSessionServerUDP>(channel, ip, port, clientSessionID);
        if (!session->StartSession()) return nullptr;
        return session;
    });
}

bool CLocalMCUWB::OnTcpServerNotifyValidate(ITcpSession* session, unsigned long type, const char* data, int len) {
    if (type != static_cast<unsigned long>(wire::TcpType::Whiteboard) || !data || len != 4) return false;
    return AcceptWBSession(session, wire::CWireReader(data, len).U32()) != 0;
}

uint32_t CLocalMCUWB::AcceptWBSession(ITcpSession* session, ChannelKey key) {
    return m_tables.Accept(key, [&](CWBChannel& channel) -> std::unique_ptr<CWBServerSession> {
        if (!AcceptTcpSession(session)) return nullptr;
        auto made = std::make_unique<CWBSessionServerTCP>(channel, session);
        made->AnswerValidation();
        return made;
    });
}

CWBSessionClientUDP* CLocalMCUWB::CreateWBSessionClientUDP(IWBSessionClientNotify& notify, ChannelKey key) {
    return MakeClient<CWBSessionClientUDP>(notify, key);
}

CWBSessionClientTCP* CLocalMCUWB::CreateWBSessionClientTCP(IWBSessionClientNotify& notify, ChannelKey key) {
    return MakeClient<CWBSessionClientTCP>(notify, key);
}

CWBSessionClientP2P* CLocalMCUWB::CreateWBSessionClientP2P(IWBSessionClientNotify& notify, uint32_t channelID) {
    return MakeClient<CWBSessionClientP2P>(notify, channelID);
}

CWBSessionClientP2PTCP* CLocalMCUWB::CreateWBSessionClientP2PTCP(IWBSessionClientNotify& notify, uint32_t channelID) {
    return MakeClient<CWBSessionClientP2PTCP>(notify, channelID);
}
