#include "server/sinks/sinks.h"

#include "core/wire/wire_io.h"
#include "link/process/work_signal.h"
#include "link/tables/mcu_dispatch.h"
#include "link/udp/frame_link.h"
#include "server/status.h"

using wire::CWireReader;

CSinks::CSinks(CMedium& medium)
    : m_medium(medium),
      m_unvalidated(server::kMaxUnvalidated, medium.Limits().unvalidatedUdpPerAddress, medium.context.trusted),
      m_ofAddresses(CServerLimits::Quota(medium.Limits().sinks), medium.context.trusted) {}

void CSinks::FollowLimits() {
    m_ofAddresses.SetLimit(CServerLimits::Quota(m_medium.Limits().sinks), m_medium.context.trusted);
    m_medium.adapter.FollowLimits();
}

bool CSinks::AdmitConnect(const CServerDatagram& datagram) {
    CWireReader fields = Fields(datagram);
    const uint32_t receiverID = fields.U32();
    const CSinkRequest request{receiverID, fields.U32(), 0, {datagram.ip, datagram.port}};
    const std::shared_ptr<CServerChannel> channel = m_medium.FindServed(request.channelID);
    if (!channel) return false;
    const SinkOwner owner = m_medium.adapter.OwnerOf(channel->Key(), request);
    return owner == SinkOwner::None ? MakeRoomForUdp(*channel, request.address.ip) : owner == SinkOwner::Same;
}

bool CSinks::AdmitUse(const CServerDatagram& datagram) {
    const uint32_t sinkID = Fields(datagram).U32();
    const CEndpointAddress address{datagram.ip, datagram.port};
    if (!m_medium.adapter.IsSinkAt(sinkID, address)) return false;
    const ChannelKey key = m_unvalidated.Count() == 0 ? 0 : m_unvalidated.ChannelOf(sinkID);
    if (key == 0) return true;  // it is validated already
    const bool relayed = key != ChannelNumber(key);
    if ((m_medium.row.board || relayed) && !HoldForFirst(key, sinkID, address.ip)) return false;
    const std::shared_ptr<CServerChannel> channel = m_medium.channels.Find(key);
    if (m_unvalidated.Remove(sinkID) == 0) return true;  // another thread has just ended it
    if (channel) channel->Subscribers().Change(address.ip, 0, 1);
    m_medium.adapter.Unhold(sinkID, m_medium.Limits().sinkQueueBytes);
    m_medium.LogEndpoint(LogKind::Sink, address, false, "came to", key);
    if (channel) Tell(*channel);
    return true;
}

bool CSinks::AdmitSubscriber(uint32_t channelID, uint32_t ip) {
    const std::shared_ptr<CServerChannel> channel = m_medium.FindServed(channelID);
    return channel && MakeRoom(*channel, ip);
}

void CSinks::Connect(CServerChannel& channel, const CSinkRequest& request) {
    const SinkOwner owner = m_medium.adapter.OwnerOf(channel.Key(), request);
    if (owner == SinkOwner::Other) return;
    if (owner == SinkOwner::None && !MakeRoomForUdp(channel, request.address.ip)) return;
    const bool mute = m_medium.row.asksOnce || m_medium.row.board;
    // The acknowledgements of a short request have used up what it may be answered with.
    if (m_medium.adapter.ConnectSink(channel.Key(), request) && mute && !request.shortForm)
        m_medium.adapter.AskForSign(channel.Key(), request);
}

uint32_t CSinks::Accept(CServerChannel& channel, ITcpSession* session, const CSinkRequest& request) {
    return MakeRoom(channel, request.address.ip) ? m_medium.adapter.AcceptSink(channel.Key(), session, request) : 0;
}

bool CSinks::Evict(uint32_t sinkID, const CServerChannel* joining) {
    if (sinkID == 0) return false;
    const ChannelKey key = m_unvalidated.ChannelOf(sinkID);
    m_medium.adapter.EndSink(sinkID);
    if (m_medium.row.board && !(joining && joining->Key() == key)) m_medium.EndDeserted(key);
    return true;
}

bool CSinks::HoldForFirst(ChannelKey key, uint32_t sinkID, uint32_t ip) {
    CAutoLock gate(&m_medium.context.gate);
    const std::shared_ptr<CServerChannel> channel = m_medium.channels.Find(key);
    if (!channel || m_medium.HoldForFirst(*channel, ip)) return true;
    m_medium.adapter.EndSink(sinkID);
    m_medium.EndDeserted(key);
    return false;
}

// Validated subscribers take precedence over unvalidated ones, of which the oldest gives way.
bool CSinks::MakeRoom(CServerChannel& channel, uint32_t ip) {
    if (!MakeRoomInQuota(channel, ip)) return m_medium.Refuse(ip, Refusal::SubscribersOfAddress);
    if (channel.SinkCount() >= m_medium.Limits().sinksPerChannel &&
        !Evict(m_unvalidated.OldestOf(channel.Key()), &channel))
        return m_medium.Refuse(ip, Refusal::Subscribers);
    return m_medium.adapter.SinkCount() < m_medium.Limits().sinks || Evict(m_unvalidated.Oldest(), &channel) ||
           m_medium.Refuse(ip, Refusal::Subscribers);
}

bool CSinks::MakeRoomInQuota(CServerChannel& channel, uint32_t ip) {
    if (m_ofAddresses.IsFull(ip) && !Evict(m_unvalidated.OldestOfAddress(ip), &channel)) return false;
    if (channel.Subscribers().Of(ip) < CServerLimits::Quota(m_medium.Limits().sinksPerChannel)) return true;
    return Contains(m_medium.context.trusted, ip) || Evict(m_unvalidated.OldestOfAddress(ip, channel.Key()), &channel);
}

bool CSinks::MakeRoomForUdp(CServerChannel& channel, uint32_t ip) {
    const uint32_t gives = m_unvalidated.WhoGivesWayTo(ip);
    return (gives == 0 || Evict(gives, &channel)) && MakeRoom(channel, ip);
}

void CSinks::OnSinkMade(const CSinkInfo& sink) {
    const std::shared_ptr<CServerChannel> channel = m_medium.channels.Find(sink.channel);
    m_ofAddresses.Add(sink.ip);
    if (sink.tcp) m_medium.context.connectionQuotas.Add(sink.ip);
    if (channel) {
        channel->Subscribers().Change(sink.ip, 1, 1);
        channel->SetJoining(false);
    }
    if (sink.tcp) {
        m_medium.LogEndpoint(LogKind::Sink, {sink.ip, sink.port}, true, "came to", sink.channel);
        if (channel) Tell(*channel);
        return;
    }
    m_unvalidated.Add(sink.sinkID, sink.ip, sink.channel);
    if (channel) channel->Subscribers().Change(sink.ip, 0, -1);  // counted as validated until it was listed here
    if (!sink.link) return;
    if (!m_medium.row.Stops())
        sink.link->Session().SetMaxReceivedFrame(static_cast<int>(m_medium.MaxSubscriberFrame()));
    sink.link->SetQueueLimit(server::kHeldQueueBytes);
    sink.link->SetHeld(true);
}

void CSinks::OnSinkChanged(const CSinkInfo& sink) {
    if (const auto channel = m_medium.channels.Find(sink.channel)) Tell(*channel);
}

// A leg follows on the worker's turn: telling it takes the gate.
void CSinks::Tell(CServerChannel& channel) {
    channel.OnSinksChanged();
    if (!channel.IsRelayed()) return;
    m_medium.legsBehind.store(true, std::memory_order_release);
    CWorkSignal::Get().Wake();
}

void CSinks::OnSinkGone(const CSinkInfo& sink) {
    const std::shared_ptr<CServerChannel> channel = m_medium.channels.Find(sink.channel);
    const bool validated = sink.tcp || m_unvalidated.Remove(sink.sinkID) == 0;
    m_ofAddresses.Return(sink.ip);
    if (channel) channel->Subscribers().Change(sink.ip, -1, validated ? -1 : 0);
    if (sink.tcp) m_medium.context.connectionQuotas.Return(sink.ip);
    if (sink.link && channel) {
        LumoLinkStatistics statistics;
        sink.link->FillStatistics(statistics);
        channel->AddEnded(SumsOf(statistics));
    } else if (channel) {
        channel->AddEnded({0, 0, sink.framesDropped});
    }
    if (!validated) return;  // it was never validated
    m_medium.LogEndpoint(LogKind::Sink, {sink.ip, sink.port}, sink.tcp, "left", sink.channel);
    if (channel) Tell(*channel);
}
