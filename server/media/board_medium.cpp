#include "server/media/make_servers.h"

#include "lumomedia/whiteboard.h"
#include "server/channels/server_channel.h"
#include "server/media/table_adapter.h"
#include "server/relays/share_leg.h"
#include "server/sinks/listener.h"
#include "whiteboard/local_mcu_wb.h"
#include "whiteboard/wb_client_tcp.h"
#include "whiteboard/wb_client_udp.h"
#include "whiteboard/wb_memory.h"
#include "whiteboard/wb_message.h"
#include "whiteboard/wb_server_session.h"

#include <atomic>

namespace {

/// A whiteboard's channel at the server. It has no publisher: everybody draws.
/// Its subscribers are the sessions of clients; the leg to a far server is a session as well, but no subscriber.
class CBoardServerChannel : public CServerChannel, public CWBChannel {
public:
    CBoardServerChannel(const CServerChannelName& name, const CLiveOptions& options);

    /// Unvalidated ones included.
    size_t SinkCount() override;
    void Open() override { CWBChannel::Connect(); }
    /// Takes this one channel out and ends its sessions, nobody else's.
    void Close() override;

    void AddWBSession(CWBSession* session) override;
    void RemoveWBSession(CWBSession* session) override;
    void OnWBChannelData(unsigned long sessionID, const char* data, int len) override;
    void SendWBData(unsigned long sessionID, const char* data, int len) override;

protected:
    void SendToSinks(const void*, int) override {}  // the transfer centre does
    bool SendToLeg(const void*, int) override { return false; }
    void ForEachListener(void* context, void (*use)(void* context, const CListenerStatus& listener)) override;

private:
    std::atomic<bool> m_bLeg{false};
};

/// A whiteboard joined to the one at its home server, with the library's own clients.
/// A session of the board's channel, which passes messages on.
class CBoardLeg : public CShareLeg<IWBSessionClientNotify, IWBSessionClient, CLocalMCUWB::CreateWBSessionClientUDP,
                                   CLocalMCUWB::CreateWBSessionClientTCP> {
public:
    using CShareLeg::CShareLeg;
    ~CBoardLeg() override { Close(); }
    void OnWBSessionClientNotifyConnected(unsigned long) override { OnAccepted(); }
};

CWBServerSession* AsClients(CWBSession* session) { return dynamic_cast<CWBServerSession*>(session); }

CBoardServerChannel::CBoardServerChannel(const CServerChannelName& name, const CLiveOptions& options)
    : CServerChannel("whiteboard", name, options), CWBChannel(name.channelID) {
    CWBChannelState::Of(*this).deleted = false;  // the server ends it
    CWBChannelState::Of(*this).legID = name.legID;
    CWBChannelState::Of(*this).homeIP = name.home.ip;
}

size_t CBoardServerChannel::SinkCount() {
    CWBChannelState& state = CWBChannelState::Of(*this);
    const size_t joined = state.sessions.Size();
    const size_t leg = m_bLeg.load(std::memory_order_relaxed) ? 1 : 0;
    return state.awaited.load(std::memory_order_relaxed) + (joined > leg ? joined - leg : 0);
}

void CBoardServerChannel::Close() {
    if (CLocalMCUWB* mcu = GetLocalMCUWB()) mcu->ForgetWBChannel(this);
}

void CBoardServerChannel::AddWBSession(CWBSession* session) {
    if (!AsClients(session)) m_bLeg.store(true, std::memory_order_relaxed);
    CWBChannel::AddWBSession(session);
}

void CBoardServerChannel::RemoveWBSession(CWBSession* session) {
    CWBChannel::RemoveWBSession(session);
    if (!AsClients(session)) m_bLeg.store(false, std::memory_order_relaxed);
}

void CBoardServerChannel::OnWBChannelData(unsigned long sessionID, const char* data, int len) {
    CountIn(len);
    CWBChannel::OnWBChannelData(sessionID, data, len);
    char answer[wb::kHeaderLen];
    if (!IsRelayed() && wb::AnswerAtHome(data, len, answer)) SendWBData(sessionID, answer, sizeof answer);
    if (!WasPublished() && CWBChannelState::Of(*this).held.load(std::memory_order_relaxed)) SetPublished();
}

void CBoardServerChannel::SendWBData(unsigned long sessionID, const char* data, int len) {
    CountOut(1, len);
    CWBChannel::SendWBData(sessionID, data, len);
}

void CBoardServerChannel::ForEachListener(void* context, void (*use)(void* context, const CListenerStatus& listener)) {
    for (CWBSession& session : CWBChannelState::Of(*this).sessions.Each())
        if (CWBServerSession* clients = AsClients(&session)) use(context, DescribeListener(*clients));
}

class CBoardAdapter : public CTableAdapter<CLocalMCUWB::CTables, CBoardServerChannel, CBoardLeg> {
public:
    explicit CBoardAdapter(const CLiveOptions& options) : CTableAdapter(Mcu().Tables(), options), m_options(options) {
        LimitMemory();
    }
    ~CBoardAdapter() override { CWBMemory::Get().SetLimit(UINT64_MAX); }

    bool ConnectSink(ChannelKey key, const CSinkRequest& request) override {
        return Mcu().ConnectWBSession(request.receiverID, key, request.address.ip, request.address.port);
    }
    uint32_t AcceptSink(ChannelKey key, ITcpSession* session, const CSinkRequest&) override {
        return Mcu().AcceptWBSession(session, key);
    }
    void FollowLimits() override {
        CTableAdapter::FollowLimits();
        LimitMemory();
    }
    /// The session joins only now: the list of objects that it gets may be long.
    void Unhold(uint32_t sinkID, uint64_t queueBytes) override {
        CTableAdapter::Unhold(sinkID, queueBytes);
        Mcu().Tables().sinks.With(sinkID, [](CWBServerSession& session) {
            if (CWBSessionServerUDP* udp = session.AsUDP()) udp->JoinOnceValidated();
        });
    }

private:
    static CLocalMCUWB& Mcu() { return *GetLocalMCUWB(); }
    void LimitMemory() const {
        const uint64_t bytes = m_options.Limits().boardBytes;
        CWBMemory::Get().SetLimit(bytes, CServerLimits::Quota(bytes), m_options.Now().Trusted());
    }

    const CLiveOptions& m_options;
};

}  // namespace

std::unique_ptr<CMediumServer> MakeWhiteboardServer(CServerContext& context) {
    return std::make_unique<CMediumServer>(media::kWhiteboard, std::make_unique<CBoardAdapter>(context.live), context);
}
