#include "server/media/medium_server.h"

#include "core/wire/wire_io.h"
#include "link/activity.h"
#include "platform/lumonet/lumonet.h"

#include <cstdlib>

using wire::CWireReader;
using wire::Field;

/// A subscriber's request, and whose channel of the number it means.
struct CMediumServer::CAsked {
    enum class Whose { Own, AnotherServers, Nobodys };  // the last names a server that this one may not ask

    CSinkRequest request{};
    Whose whose = Whose::Own;
    CMcuAddress home;  // another server's addresses
};

namespace {

constexpr int kShortPayload = 4;  // channel ID

const wire::CommandRow& LongConnectOf(wire::Kind kind) {
    for (const wire::CommandRow& row : wire::Commands())
        if (row.kind == kind && row.longForm) return row;
    std::abort();  // every medium has one
}

}  // namespace

CMediumServer::CMediumServer(const CMediumRow& row, std::unique_ptr<IMediumAdapter> adapter, CServerContext& context)
    : m_adapter(std::move(adapter)),
      m_medium(row, *m_adapter, context),
      m_longConnect(LongConnectOf(row.kind)),
      m_rows{{{m_longConnect.code, &CMediumServer::OnLongConnect, true},
              {row.source.connect, &CMediumServer::OnSourceConnect},
              {row.source.keepAliveAck, &CMediumServer::OnSourceSign},
              {row.source.stopAck, &CMediumServer::OnSourceSign},
              {row.source.frame, &CMediumServer::OnSourceFrame},
              {row.source.disconnect, &CMediumServer::OnSourceDisconnect}}},
      m_sinks(m_medium),
      m_relays(m_medium, m_sinks),
      m_sources(m_medium, m_relays) {}

bool CMediumServer::TakesTcp(uint32_t type) const {
    return type == static_cast<uint32_t>(m_medium.row.tcp.sender) ||
           type == static_cast<uint32_t>(m_medium.row.tcp.receiver);
}

void CMediumServer::OnCommand(const CServerDatagram& datagram) {
    if (const auto* row = FindRow<CMediumServer>(m_rows, datagram.row)) (this->*(row->handler))(datagram);
}

void CMediumServer::OnSourceConnect(const CServerDatagram& datagram) {
    CAutoLock gate(&m_medium.context.gate);
    m_sources.OnConnect(datagram);
}

bool CMediumServer::AdmitCommand(const CServerDatagram& datagram) {
    if (datagram.row.fields[0] == Field::SinkID || datagram.row.fields[0] == Field::ServerSessionID)
        return m_sinks.AdmitUse(datagram);
    if (m_medium.row.board) {
        CAutoLock gate(&m_medium.context.gate);
        CWireReader fields = Fields(datagram);
        fields.U32();
        const std::shared_ptr<CServerChannel> board = FindOrMakeBoard(fields.U32(), datagram.ip, false);
        return board && Joins(*board, m_sinks.AdmitConnect(datagram));
    }
    if (m_sinks.AdmitConnect(datagram)) return true;
    if (!m_medium.row.asksOnce) return false;
    CAutoLock gate(&m_medium.context.gate);
    CAsked asked;
    CWireReader fields = Fields(datagram);
    asked.request.receiverID = fields.U32();
    asked.request.channelID = fields.U32();
    asked.request.address = {datagram.ip, datagram.port};
    asked.request.shortForm = true;
    AddPending(asked);
    return false;
}

void CMediumServer::AddPending(const CAsked& asked) {
    if (!m_medium.FindServed(asked.request.channelID)) m_relays.AddPending(asked.request, {});
}

// The fields of the long form; over TCP there is no receiver ID. Where no port is named it is this server's own.
CMediumServer::CAsked CMediumServer::Read(const char* data, int length, const CEndpointAddress& address,
                                          bool tcp) const {
    CAsked asked;
    asked.request.address = address;
    CMcuAddress named;
    named.port = m_medium.context.port;
    CWireReader reader(data, length);
    for (const Field field : m_longConnect.fields) {
        if ((field == Field::ReceiverID || field == Field::ClientSessionID) && !tcp)
            asked.request.receiverID = reader.U32();
        if (field == Field::ChannelID) asked.request.channelID = reader.U32();
        if (field == Field::RelayIP0) named.ips[0] = reader.U32();
        if (field == Field::RelayIP1) named.ips[1] = reader.U32();
        if (field == Field::RelayIP2) named.ips[2] = reader.U32();
        if (field == Field::RelayPort) named.port = reader.U16();
        if (field == Field::UserID) asked.request.userID = reader.U32();
    }
    CRelayPolicy& policy = m_medium.context.policy;
    // If one of the addresses is this server's, all are, as subscribers see it too.
    if (named.IsEmpty() || policy.IsThisServer(named, m_medium.context.port)) return asked;
    asked.home = policy.Filter(named);
    asked.whose = asked.home.IsEmpty() ? CAsked::Whose::Nobodys : CAsked::Whose::AnotherServers;
    if (asked.home.IsEmpty()) m_medium.RefuseRelay(address.ip, Refusal::RelayTarget, asked.request.channelID, named);
    return asked;
}

// A board is charged to validated addresses only: forged ones would use up the quotas of others.
std::shared_ptr<CServerChannel> CMediumServer::FindOrMakeBoard(uint32_t channelID, uint32_t ip, bool validated) {
    std::shared_ptr<CServerChannel> board = m_medium.channels.Find(channelID);
    if (!board) {
        if (!m_medium.MayHold(channelID, ip)) return nullptr;
        if (m_medium.channels.Size() >= m_medium.Limits().channels && !m_sinks.EvictOldest()) {
            m_medium.Refuse(ip, Refusal::Channels);
            return nullptr;
        }
        board = m_medium.MakeChannel({channelID});
    }
    return board && (!validated || m_medium.HoldForFirst(*board, ip)) ? board : nullptr;
}

bool CMediumServer::Joins(CServerChannel& board, bool letIn) {
    if (letIn)
        board.SetJoining(true);
    else
        m_medium.EndDeserted(board.Key());
    return letIn;
}

std::shared_ptr<CServerChannel> CMediumServer::FindOwn(const CSinkRequest& request, bool validated) {
    return m_medium.row.board ? FindOrMakeBoard(request.channelID, request.address.ip, validated)
                              : m_medium.FindServed(request.channelID);
}

bool CMediumServer::HasRoomForRelay(const CAsked& asked) {
    return m_relays.Has(asked.request.channelID, asked.home) || m_medium.channels.Size() < m_medium.Limits().channels ||
           m_medium.Refuse(asked.request.address.ip, Refusal::Channels);
}

void CMediumServer::OnLongConnect(const CServerDatagram& datagram) {
    CAutoLock gate(&m_medium.context.gate);
    const CAsked asked = Read(datagram.body + 1, datagram.length - 1, {datagram.ip, datagram.port}, false);
    if (asked.whose == CAsked::Whose::AnotherServers) {
        if (HasRoomForRelay(asked)) m_relays.Ask(asked.request, asked.home);
    } else if (asked.whose == CAsked::Whose::Own) {
        if (const auto channel = FindOwn(asked.request, false))
            m_sinks.Connect(*channel, asked.request);
        else
            AddPending(asked);
    }
}

bool CMediumServer::AdmitTcp(ITcpSession* session, uint32_t type, const char* data, int length) {
    const bool subscriber = type == static_cast<uint32_t>(m_medium.row.tcp.receiver);
    if (subscriber || !m_medium.row.session) session->SetMaxReceivedFrame(m_medium.MaxSubscriberFrame());
    if (!subscriber) return true;
    if (!data || length != kShortPayload) return true;
    const uint32_t channelID = CWireReader(data, length).U32();
    const auto ip = static_cast<uint32_t>(session->GetRemoteIP());
    if (!m_medium.row.board) return m_sinks.AdmitSubscriber(channelID, ip);
    CAutoLock gate(&m_medium.context.gate);
    const std::shared_ptr<CServerChannel> board = FindOrMakeBoard(channelID, ip, true);
    return board && Joins(*board, m_sinks.AdmitSubscriber(channelID, ip));
}

bool CMediumServer::OnTcpValidate(ITcpSession* session, uint32_t type, const char* data, int length) {
    if (!data) return false;
    if (type == static_cast<uint32_t>(m_medium.row.tcp.receiver)) return OnTcpReceiver(session, data, length);
    if (length != kShortPayload) return false;
    CAutoLock gate(&m_medium.context.gate);
    return m_sources.OnTcp(session, CWireReader(data, length).U32());
}

bool CMediumServer::OnTcpReceiver(ITcpSession* session, const char* data, int length) {
    constexpr int kBefore = 1 + 4;  // the command and the receiver ID, which TCP does without
    if (length != m_longConnect.FixedLength() - kBefore) return false;
    CAutoLock gate(&m_medium.context.gate);
    const CEndpointAddress address{static_cast<uint32_t>(session->GetRemoteIP()), session->GetRemotePort()};
    const CAsked asked = Read(data, length, address, true);
    if (asked.whose == CAsked::Whose::AnotherServers)
        return HasRoomForRelay(asked) && m_relays.AskTcp(session, asked.request, asked.home);
    const auto channel = asked.whose == CAsked::Whose::Own ? FindOwn(asked.request, true) : nullptr;
    return channel && m_sinks.Accept(*channel, session, asked.request) != 0;
}

void CMediumServer::OnOptions() {
    CAutoLock gate(&m_medium.context.gate);
    m_sinks.FollowLimits();
    m_sources.EndForeign();
    m_medium.adapter.EndSinksIf([this](uint32_t ip) { return !m_medium.context.live.Now().Allows(ip); });
}

void CMediumServer::OnSecond(uint32_t now) {
    CAutoLock gate(&m_medium.context.gate);
    m_relays.OnSecond(now);
    m_sources.OnSecond(now);
}

bool CMediumServer::OnTurn() {
    m_relays.OnTurn();
    const uint32_t now = CActivity::Now();
    m_medium.keyFrames.OnTurn(now);
    return m_sources.OnTurn(now);
}

void CMediumServer::BeginDrain() {
    CAutoLock gate(&m_medium.context.gate);
    m_relays.EndAll();
    m_sources.CloseAll();
    m_medium.adapter.CloseTcpSinks();
}

void CMediumServer::End() {
    CAutoLock gate(&m_medium.context.gate);
    m_medium.closed = true;
    m_relays.EndAll();
    m_sources.EndChallengers();
    for (const std::shared_ptr<CServerChannel>& channel : m_medium.channels.All()) {
        m_sources.End(*channel);
        m_medium.EndChannel(*channel);
    }
}

CMediumStatus CMediumServer::Status() {
    CMediumStatus status;
    {
        CAutoLock lock(&m_medium.csEnded);
        status = m_medium.ended;
    }
    status.medium = m_medium.row.name;
    status.unvalidated = m_sinks.Unvalidated() + m_sources.Unvalidated();
    for (const std::shared_ptr<CServerChannel>& channel : m_medium.channels.All()) channel->AddTo(status);
    return status;
}
