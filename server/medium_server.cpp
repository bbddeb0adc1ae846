#include "server/medium_server.h"

#include "core/wire/datagram.h"
#include "link/activity.h"
#include "platform/lumonet/lumonet.h"

using wire::CWireReader;
using wire::Field;

struct CMediumServer::CRelayFields {
    explicit CRelayFields(CWireReader& reader) {
        for (uint32_t& ip : ips) ip = reader.U32();
    }
    bool IsEmpty() const { return ips[0] == 0 && ips[1] == 0 && ips[2] == 0; }

    uint32_t ips[3];
};

namespace {

constexpr int kShortPayload = 4;  // channel ID
constexpr int kLongPayload = 16;  // channel ID, relay addresses

}  // namespace

CMediumServer::CMediumServer(const CSourceProfile& profile, std::unique_ptr<IMediumClasses> classes,
                             CServerContext& context)
    : m_classes(std::move(classes)),
      m_medium(profile, *m_classes, context),
      m_sinks(m_medium),
      m_relays(m_medium, m_sinks),
      m_sources(m_medium, m_relays) {}

bool CMediumServer::TakesTcp(uint32_t type) const {
    return type == static_cast<uint32_t>(m_medium.profile.senderType) ||
           type == static_cast<uint32_t>(m_medium.profile.receiverType);
}

void CMediumServer::OnCommand(const CServerDatagram& datagram) {
    if (datagram.row.longForm) {
        OnLongConnect(datagram);
    } else if (datagram.row.code == m_medium.profile.connect) {
        CAutoLock gate(&m_medium.context.gate);
        m_sources.OnConnect(datagram);
    } else if (datagram.row.fields[0] == Field::SourceID) {
        m_sources.OnDatagram(datagram);
    }
}

bool CMediumServer::MayAct(const CServerDatagram& datagram) {
    return datagram.row.fields[0] == Field::SinkID ? m_sinks.MayUse(datagram) : m_sinks.MayConnect(datagram);
}

// At home it is served to whoever asks; but a publisher that left or fell silent may have gone to the server that the
// request names.
std::shared_ptr<CStream> CMediumServer::ServedHere(uint32_t channelID, uint32_t asker, const CRelayFields& relay) {
    std::shared_ptr<CStream> stream = m_medium.streams.Find(channelID);
    if (!stream || !stream->IsHome()) return nullptr;
    const bool elsewhere = !relay.IsEmpty() && !stream->HasLiveSource() && m_relays.MayRelay(asker, relay.ips);
    return elsewhere ? nullptr : stream;
}

void CMediumServer::OnLongConnect(const CServerDatagram& datagram) {
    CWireReader reader(datagram.body + 1, datagram.length - 1);
    const uint32_t receiverID = reader.U32();
    const CSinkRequest request{receiverID, reader.U32(), {datagram.ip, datagram.port}};
    const CRelayFields relay(reader);
    CAutoLock gate(&m_medium.context.gate);
    if (const auto stream = ServedHere(request.channelID, datagram.ip, relay)) {
        m_sinks.Connect(*stream, request);
    } else if (!relay.IsEmpty()) {
        if (!m_medium.streams.Find(request.channelID) && !m_sources.MakeRoomForChannel()) return;
        m_relays.Ask(request, relay.ips);
    }
}

bool CMediumServer::MayServeTcp(ITcpSession* session, uint32_t type, const char* data, int length) {
    if (type != static_cast<uint32_t>(m_medium.profile.receiverType)) return true;
    session->SetMaxReceivedFrame(m_medium.Limits().upstreamFrameBytes);
    if (length != kShortPayload) return true;
    return m_sinks.MayServe(CWireReader(data, length).U32());
}

bool CMediumServer::OnTcpValidate(ITcpSession* session, uint32_t type, const char* data, int length) {
    if (!data) return false;
    if (type == static_cast<uint32_t>(m_medium.profile.receiverType)) return OnTcpReceiver(session, data, length);
    if (length != kShortPayload) return false;
    CAutoLock gate(&m_medium.context.gate);
    return m_sources.OnTcp(session, CWireReader(data, length).U32());
}

bool CMediumServer::OnTcpReceiver(ITcpSession* session, const char* data, int length) {
    if (length != kLongPayload) return false;
    CWireReader reader(data, length);
    const uint32_t channelID = reader.U32();
    const CRelayFields relay(reader);
    CAutoLock gate(&m_medium.context.gate);
    const auto asker = static_cast<uint32_t>(session->GetRemoteIP());
    if (const auto stream = ServedHere(channelID, asker, relay)) return m_sinks.Accept(*stream, session) != 0;
    if (relay.IsEmpty()) return false;
    if (!m_medium.streams.Find(channelID) && !m_sources.MakeRoomForChannel()) return false;
    return m_relays.AskTcp(session, channelID, relay.ips);
}

void CMediumServer::OnSecond(uint32_t now) {
    CAutoLock gate(&m_medium.context.gate);
    for (const std::shared_ptr<CStream>& stream : m_relays.OnSecond(now)) m_sources.AfterRelay(*stream);
    m_sources.OnSecond(now);
}

bool CMediumServer::OnTurn() {
    m_relays.OnTurn();
    return m_sources.Pump();
}

void CMediumServer::BeginDrain() {
    CAutoLock gate(&m_medium.context.gate);
    m_relays.EndAll();
    m_sources.CloseAll();
    m_medium.classes.CloseTcpSinks();
}

void CMediumServer::End() {
    CAutoLock gate(&m_medium.context.gate);
    m_relays.EndAll();
    for (const std::shared_ptr<CStream>& stream : m_medium.streams.All()) {
        m_sources.End(*stream);
        m_medium.EndStream(*stream);
    }
}

CMediumStatus CMediumServer::Status() {
    CMediumStatus status;
    {
        CAutoLock lock(&m_medium.csEnded);
        status = m_medium.ended;
    }
    status.medium = m_medium.profile.medium;
    status.unproved = m_sinks.Unproved() + m_sources.Unproved();
    for (const std::shared_ptr<CStream>& stream : m_medium.streams.All()) stream->AddTo(status);
    return status;
}
