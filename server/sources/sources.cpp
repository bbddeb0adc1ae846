#include "server/sources/sources.h"

#include "link/process/mcu_services.h"
#include "link/tables/mcu_dispatch.h"
#include "platform/lumobase/undo.h"
#include "server/sources/source_tcp.h"

#include <algorithm>
#include <vector>

using wire::CWireReader;

CSources::CSources(CMedium& medium, CRelays& relays)
    : m_medium(medium),
      m_relays(relays),
      m_claims(medium.row, medium.Limits().unvalidatedUdpPerAddress, medium.context.trusted),
      m_contests(medium.row) {}

// Only a publisher that could not publish even when validated gets no answer.
void CSources::OnConnect(const CServerDatagram& datagram) {
    CWireReader fields = Fields(datagram);
    const uint32_t channelID = fields.U32();
    const uint32_t senderKey = fields.U32();
    const CEndpointAddress address{datagram.ip, datagram.port};
    bool again = false;
    m_sources.WithPair(channelID, senderKey, [&](CSourceUDP& source) {
        again = source.Is(address);
        if (again) source.OnConnect();
    });
    if (again || channelID == 0 || m_medium.closed) return;
    const std::shared_ptr<CServerChannel> channel = m_medium.channels.Find(channelID);
    const Place place = channel ? PlaceIn(*channel) : Place::Free;
    if (m_contests.OnConnect(channelID, senderKey, address, place != Place::Free)) return;
    if (place == Place::Taken || !m_medium.MayHold(channelID, address.ip)) return;
    if (!channel && m_medium.channels.Size() >= m_medium.Limits().channels) {
        m_medium.Refuse(address.ip, Refusal::Channels);
        return;
    }
    m_claims.OnConnect(channelID, senderKey, address, datagram.length + 1, Wanted(channelID));
}

uint32_t CSources::Wanted(uint32_t channelID) {
    if (!m_medium.row.Stops()) return 0;
    const std::shared_ptr<CServerChannel> channel = m_medium.channels.Find(channelID);
    return channel ? channel->Wanted() : 0;
}

bool CSources::OnTcp(ITcpSession* session, uint32_t channelID) {
    const std::shared_ptr<CServerChannel> channel = m_medium.channels.Find(channelID);
    if (channelID == 0 || m_contests.Has(channelID) || (channel && PlaceIn(*channel) == Place::Taken)) return false;
    if (!m_medium.MayHold(channelID, static_cast<uint32_t>(session->GetRemoteIP()))) return false;
    CChallenger challenger;
    if (!challenger.connection.Take(m_medium.context.connectionQuotas, static_cast<uint32_t>(session->GetRemoteIP())))
        return false;
    if (!AcceptTcpSession(session)) return false;
    challenger.session.reset(session);
    return Admit(channelID, std::move(challenger));
}

CSources::Place CSources::PlaceIn(CServerChannel& channel) {
    Place place = Place::Free;
    channel.WithSource([&](CSource& source) {
        if (!source.IsGone()) place = source.AsUDP() ? Place::Doubtful : Place::Taken;
    });
    return place;
}

bool CSources::Admit(uint32_t channelID, CChallenger challenger) {
    const std::shared_ptr<CServerChannel> channel = m_medium.channels.Find(channelID);
    const Place place = channel ? PlaceIn(*channel) : Place::Free;
    if (place == Place::Taken) return false;
    if (place == Place::Free) return Publish(channelID, std::move(challenger));
    channel->WithSource([&](CSource& source) { m_contests.Begin(channelID, *source.AsUDP(), std::move(challenger)); });
    return true;
}

bool CSources::Publish(uint32_t channelID, CChallenger challenger) {
    std::shared_ptr<CServerChannel> channel = m_medium.channels.Find(channelID);
    if (!channel) channel = m_medium.MakeChannel({channelID});
    if (!channel) return false;
    bool free = false;
    CUndo undo([&] {
        if (free) End(*channel);
        Settle(*channel);
    });
    if (!m_medium.Hold(*channel, challenger.IP())) return false;  // and the present publisher stays
    End(*channel);
    free = true;
    if (challenger.session)
        PublishTcp(*channel, challenger);
    else if (!PublishUdp(*channel, std::move(challenger.claim)))
        return false;
    m_claims.EndAllOf(channelID);
    undo.Keep();
    return true;
}

bool CSources::PublishUdp(CServerChannel& channel, std::unique_ptr<CClaim> claim) {
    const uint32_t senderKey = claim->senderKey;
    auto source = CSourceUDP::Make(m_medium.row, channel, std::move(claim), m_medium.Limits());
    if (!source->Open()) return false;
    CSourceUDP& made = *source;
    CUndo leave([&] { made.End(); });
    m_sources.Put(made.SourceID(), &made, made.ChannelID(), senderKey);
    leave.Keep();
    channel.SetSource(std::move(source));
    m_medium.LogEndpoint(LogKind::Source, made.Status().address, false, "publishes", channel.Key());
    made.Welcome();  // before what is asked of it
    OnPublished(channel);
    return true;
}

void CSources::PublishTcp(CServerChannel& channel, CChallenger& challenger) {
    auto source = std::make_unique<CSourceTCP>(m_medium.row, channel, challenger.session.get(), m_medium.Limits(),
                                               std::move(challenger.connection));
    challenger.session.release();
    m_medium.LogEndpoint(LogKind::Source, source->Status().address, true, "publishes", channel.Key());
    channel.SetSource(std::move(source));
    OnPublished(channel);
    // Under the source lock, as a sink that comes or goes meanwhile tells the source too.
    channel.WithSource([](CSource& made) { static_cast<CSourceTCP&>(made).AnswerValidation(); });
}

// A channel that was never published is ended at once: it has no subscribers.
void CSources::Settle(CServerChannel& channel) {
    if (!channel.HasSource() && !channel.WasPublished()) m_medium.EndChannel(channel);
}

void CSources::OnSign(const CServerDatagram& datagram) {
    Reach(datagram, [](CSourceUDP&) {});
}

void CSources::OnFrame(const CServerDatagram& datagram) {
    Reach(datagram, [&](CSourceUDP& source) {
        CWireReader fields = Fields(datagram);
        fields.U32();
        source.OnFrame(fields.Rest(), fields.Left());
    });
}

template <class Act>
void CSources::Reach(const CServerDatagram& datagram, Act act) {
    if (!Use(datagram, act) && Validate(datagram)) Use(datagram, act);
}

// False when no source at this address has that ID.
template <class Act>
bool CSources::Use(const CServerDatagram& datagram, Act& act) {
    const auto source = m_sources.Lock(Fields(datagram).U32());
    if (!source || !source->Is({datagram.ip, datagram.port})) return false;
    source->Touch();
    act(*source);
    return true;
}

bool CSources::Validate(const CServerDatagram& datagram) {
    if (m_claims.Count() == 0) return false;
    CAutoLock gate(&m_medium.context.gate);
    const uint32_t sourceID = Fields(datagram).U32();
    const uint32_t channelID = m_claims.ChannelOf(sourceID, {datagram.ip, datagram.port});
    if (channelID == 0 || m_contests.Has(channelID)) return false;  // it waits until that is decided
    CChallenger challenger;
    challenger.claim = m_claims.Take(sourceID);
    return Admit(channelID, std::move(challenger));
}

void CSources::OnDisconnect(const CServerDatagram& datagram) {
    const uint32_t sourceID = Fields(datagram).U32();
    uint32_t channelID = 0;
    auto publishes = [&](CSourceUDP& source) { channelID = source.ChannelID(); };
    if (Use(datagram, publishes)) return Leave(channelID, sourceID);
    if (m_claims.Count() == 0 && m_contests.IsEmpty()) return;
    CAutoLock gate(&m_medium.context.gate);
    const CEndpointAddress address{datagram.ip, datagram.port};
    m_contests.Leave(sourceID, address);
    if (m_claims.ChannelOf(sourceID, address) != 0) m_claims.Take(sourceID);
}

void CSources::Leave(uint32_t channelID, uint32_t sourceID) {
    CAutoLock gate(&m_medium.context.gate);
    const std::shared_ptr<CServerChannel> channel = m_medium.channels.Find(channelID);
    bool still = false;
    if (channel)
        channel->WithSource([&](CSource& source) { still = source.AsUDP() && source.AsUDP()->SourceID() == sourceID; });
    if (still) End(*channel);
}

void CSources::OnPublished(CServerChannel& channel) {
    channel.SetPublished();
    m_relays.ServePending(channel, {});
    m_medium.keyFrames.OnPublisher(channel);
}

void CSources::End(CServerChannel& channel) {
    const std::unique_ptr<CSource> source = channel.TakeSource();
    if (!source) return;
    if (const CSourceUDP* udp = source->AsUDP()) m_sources.Take(udp->SourceID());
    const CSourceStatus last = source->Status();
    source->End();
    {
        CAutoLock lock(&m_medium.csEnded);
        m_medium.ended.links.Add(last.link);
    }
    m_medium.LogEndpoint(LogKind::Source, last.address, last.tcp, "left", channel.ChannelID());
}

void CSources::EndForeign() {
    for (const std::shared_ptr<CServerChannel>& channel : m_medium.channels.All()) {
        bool foreign = false;
        channel->WithSource(
            [&](CSource& source) { foreign = !m_medium.context.live.Now().Allows(source.Status().address.ip); });
        if (foreign) End(*channel);
    }
}

void CSources::OnSecond(uint32_t now) {
    for (const std::shared_ptr<CServerChannel>& channel : m_medium.channels.All()) {
        bool gone = false;
        channel->WithSource([&](CSource& source) {
            gone = source.IsGone();
            if (!gone) source.OnSecond();
        });
        if (gone) End(*channel);
        PassOn(*channel);
        channel->Sample(now);
        ForgetIfUnused(*channel, now);
    }
    m_claims.OnSecond(now, [this](uint32_t channelID) { return Wanted(channelID); });
}

// Without a publisher the channel is charged to one of its subscribers, who keep it alive.
void CSources::PassOn(CServerChannel& channel) {
    CQuotaHold& holder = channel.Holder();
    if (channel.HasSource() || (holder.IsHeld() && channel.Subscribers().HasValidated(holder.IP()))) return;
    for (const uint32_t ip : channel.Subscribers().Validated())
        if (holder.Take(m_medium.context.channelQuotas, ip)) return;
}

void CSources::ForgetIfUnused(CServerChannel& channel, uint32_t now) {
    if (channel.IsRelayed()) return;  // it goes with its leg
    if (m_medium.row.board && !channel.WasPublished()) {
        m_medium.EndDeserted(channel.Key());
        return channel.SetJoining(false);  // a subscriber that was let in a second ago and has not joined will not come
    }
    const uint32_t goneAfter = m_medium.row.board ? server::kBoardGoneAfterMs : server::kChannelGoneAfterMs;
    if (channel.EmptyFor(now) >= goneAfter) m_medium.EndChannel(channel);
}

bool CSources::OnTurn(uint32_t now) {
    if (!m_contests.IsEmpty()) {
        CAutoLock gate(&m_medium.context.gate);
        for (auto& [channelID, challenger] : m_contests.OnTurn(m_medium.channels, now))
            Publish(channelID, std::move(challenger));
    }
    bool sent = false;
    for (CSourceUDP& source : m_sources.Each()) sent = source.PumpFrames() || sent;
    return sent;
}

void CSources::CloseAll() {
    m_contests.EndAll();
    for (const std::shared_ptr<CServerChannel>& channel : m_medium.channels.All()) {
        bool closing = false;
        channel->WithSource([&](CSource& source) {
            source.TellToStop();
            closing = source.CloseWhenSent();
        });
        if (!closing) End(*channel);
    }
}

size_t CSources::CountOpen() {
    size_t count = 0;
    for (const std::shared_ptr<CServerChannel>& channel : m_medium.channels.All())
        channel->WithSource([&](CSource& source) { count += source.IsGone() ? 0 : 1; });
    return count;
}
