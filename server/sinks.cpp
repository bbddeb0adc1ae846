#include "server/sinks.h"

#include "core/wire/datagram.h"
#include "link/frame_link.h"
#include "link/work_signal.h"
#include "server/link_status.h"

using wire::CWireReader;

CSinks::CSinks(CMedium& medium)
    : m_medium(medium),
      m_unproved(server::kMaxUnproved, medium.Limits().unprovedPerAddress, medium.context.trusted),
      m_ofAddresses(CServerLimits::Share(medium.Limits().sinks), medium.context.trusted) {}

bool CSinks::MayConnect(const CServerDatagram& datagram) {
    CWireReader fields(datagram.body + 1, datagram.length - 1);
    const uint32_t receiverID = fields.U32();
    const CSinkRequest request{receiverID, fields.U32(), 0, {datagram.ip, datagram.port}};
    const std::shared_ptr<CStream> stream = m_medium.FindServed(request.channelID);
    if (!stream) return false;
    const SinkOwner owner = m_medium.classes.OwnerOf(stream->Key(), request);
    return owner == SinkOwner::None ? MakeRoomForUdp(*stream, request.peer.ip) : owner == SinkOwner::Same;
}

bool CSinks::MayUse(const CServerDatagram& datagram) {
    const uint32_t sinkID = CWireReader(datagram.body + 1, datagram.length - 1).U32();
    const CPeer peer{datagram.ip, datagram.port};
    if (!m_medium.classes.IsSinkAt(sinkID, peer)) return false;
    const ChannelKey channel = m_unproved.Count() == 0 ? 0 : m_unproved.ChannelOf(sinkID);
    if (channel == 0) return true;  // one who has come before
    const bool relayed = channel != ChannelNumber(channel);
    if ((m_medium.row.board || relayed) && !HoldForFirst(channel, sinkID, peer.ip)) return false;
    const std::shared_ptr<CStream> stream = m_medium.streams.Find(channel);
    if (m_unproved.Remove(sinkID) == 0) return true;  // it has just been ended
    if (stream) stream->Subscribers().Change(peer.ip, 0, 1);
    m_medium.classes.Unhold(sinkID, m_medium.Limits().sinkQueueBytes);
    m_medium.LogPeer(LogKind::Sink, peer, false, "came to", channel);
    if (stream) Tell(*stream);
    return true;
}

bool CSinks::MayServe(uint32_t channelID, uint32_t ip) {
    const std::shared_ptr<CStream> stream = m_medium.FindServed(channelID);
    return stream && MakeRoom(*stream, ip);
}

void CSinks::Connect(CStream& stream, const CSinkRequest& request) {
    const SinkOwner owner = m_medium.classes.OwnerOf(stream.Key(), request);
    if (owner == SinkOwner::Other) return;
    if (owner == SinkOwner::None && !MakeRoomForUdp(stream, request.peer.ip)) return;
    const bool mute = m_medium.row.asksOnce || m_medium.row.board;
    // The acknowledgements of a short request have used up what it may be answered with.
    if (m_medium.classes.ConnectSink(stream.Key(), request) && mute && !request.shortForm)
        m_medium.classes.AskForSign(stream.Key(), request);
}

uint32_t CSinks::Accept(CStream& stream, ITcpSession* session, const CSinkRequest& request) {
    return MakeRoom(stream, request.peer.ip) ? m_medium.classes.AcceptSink(stream.Key(), session, request) : 0;
}

bool CSinks::Evict(uint32_t sinkID, const CStream* joining) {
    if (sinkID == 0) return false;
    const ChannelKey channel = m_unproved.ChannelOf(sinkID);
    m_medium.classes.EndSink(sinkID);
    if (m_medium.row.board && !(joining && joining->Key() == channel)) m_medium.EndDeserted(channel);
    return true;
}

bool CSinks::HoldForFirst(ChannelKey channel, uint32_t sinkID, uint32_t ip) {
    CAutoLock gate(&m_medium.context.gate);
    const std::shared_ptr<CStream> stream = m_medium.streams.Find(channel);
    if (!stream || m_medium.HoldForFirst(*stream, ip)) return true;
    m_medium.classes.EndSink(sinkID);
    m_medium.EndDeserted(channel);
    return false;
}

// Whoever is there comes before whoever only says so.
bool CSinks::MakeRoom(CStream& stream, uint32_t ip) {
    if (!MakeRoomInShare(stream, ip)) return m_medium.Refuse(ip, "it has its share of subscribers");
    if (stream.SinkCount() >= m_medium.Limits().sinksPerChannel && !Evict(m_unproved.OldestOf(stream.Key()), &stream))
        return false;
    return m_medium.classes.SinkCount() < m_medium.Limits().sinks || Evict(m_unproved.Oldest(), &stream);
}

bool CSinks::MakeRoomInShare(CStream& stream, uint32_t ip) {
    if (m_ofAddresses.IsFull(ip) && !Evict(m_unproved.OldestOfAddress(ip), &stream)) return false;
    if (stream.Subscribers().Of(ip) < CServerLimits::Share(m_medium.Limits().sinksPerChannel)) return true;
    return Contains(m_medium.context.trusted, ip) || Evict(m_unproved.OldestOfAddress(ip, stream.Key()), &stream);
}

bool CSinks::MakeRoomForUdp(CStream& stream, uint32_t ip) {
    const uint32_t gives = m_unproved.WhoGivesWayTo(ip);
    return (gives == 0 || Evict(gives, &stream)) && MakeRoom(stream, ip);
}

void CSinks::OnSinkMade(const CSinkInfo& sink) {
    const std::shared_ptr<CStream> stream = m_medium.streams.Find(sink.channel);
    m_ofAddresses.Add(sink.ip);
    if (sink.tcp) m_medium.context.connections.Add(sink.ip);
    if (stream) {
        stream->Subscribers().Change(sink.ip, 1, 1);
        stream->SetJoining(false);
    }
    if (sink.tcp) {
        m_medium.LogPeer(LogKind::Sink, {sink.ip, sink.port}, true, "came to", sink.channel);
        if (stream) Tell(*stream);
        return;
    }
    m_unproved.Add(sink.sinkID, sink.ip, sink.channel);
    if (stream) stream->Subscribers().Change(sink.ip, 0, -1);  // now that it is known not to have shown itself
    if (!sink.link) return;
    if (!m_medium.row.Stops()) sink.link->SetMaxReceivedFrame(static_cast<int>(m_medium.Limits().upstreamFrameBytes));
    sink.link->SetQueueLimit(server::kHeldQueueBytes);
    sink.link->SetHeld(true);
}

void CSinks::OnSinkChanged(const CSinkInfo& sink) {
    if (const auto stream = m_medium.streams.Find(sink.channel)) Tell(*stream);
}

// A leg follows on the worker's turn: telling it takes the gate.
void CSinks::Tell(CStream& stream) {
    stream.OnSinksChanged();
    if (!stream.IsRelayed()) return;
    m_medium.legsBehind.store(true, std::memory_order_release);
    CWorkSignal::Get().Wake();
}

void CSinks::OnSinkGone(const CSinkInfo& sink) {
    const std::shared_ptr<CStream> stream = m_medium.streams.Find(sink.channel);
    const bool shown = sink.tcp || m_unproved.Remove(sink.sinkID) == 0;
    m_ofAddresses.Return(sink.ip);
    if (stream) stream->Subscribers().Change(sink.ip, -1, shown ? -1 : 0);
    if (sink.tcp) m_medium.context.connections.Return(sink.ip);
    if (sink.link && stream) {
        LumoLinkStatistics statistics;
        sink.link->FillStatistics(statistics);
        stream->AddEnded(SumsOf(statistics));
    } else if (stream) {
        stream->AddEnded({0, 0, sink.framesDropped});
    }
    if (!shown) return;  // it had never come
    m_medium.LogPeer(LogKind::Sink, {sink.ip, sink.port}, sink.tcp, "left", sink.channel);
    if (stream) Tell(*stream);
}
