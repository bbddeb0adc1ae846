#include "server/sources.h"

#include "link/mcu_services.h"
#include "platform/lumobase/undo.h"
#include "server/source_tcp.h"

#include <algorithm>
#include <vector>

using wire::CWireReader;

CSources::CSources(CMedium& medium, CRelays& relays)
    : m_medium(medium),
      m_relays(relays),
      m_claims(medium.row, medium.Limits().unprovedPerAddress, medium.context.trusted),
      m_contests(medium.row) {}

// The only ones who get no answer are those who could not publish whatever they proved.
void CSources::OnConnect(const CServerDatagram& datagram) {
    CWireReader fields(datagram.body + 1, datagram.length - 1);
    const uint32_t channelID = fields.U32();
    const uint32_t senderKey = fields.U32();
    const CPeer peer{datagram.ip, datagram.port};
    bool again = false;
    m_sources.WithPair(channelID, senderKey, [&](CSourceUDP& source) {
        again = source.Is(peer);
        if (again) source.OnConnect();
    });
    if (again || channelID == 0 || m_medium.closed) return;
    const std::shared_ptr<CStream> stream = m_medium.streams.Find(channelID);
    const Place place = stream ? PlaceIn(*stream) : Place::Free;
    if (m_contests.OnConnect(channelID, senderKey, peer, place != Place::Free)) return;
    if (place == Place::Taken || !m_medium.MayHold(channelID, peer.ip)) return;
    if (!stream && m_medium.streams.Size() >= m_medium.Limits().channels) return;
    m_claims.OnConnect(channelID, senderKey, peer, datagram.length + 1, Wanted(channelID));
}

uint32_t CSources::Wanted(uint32_t channelID) {
    if (!m_medium.row.Stops()) return 0;
    const std::shared_ptr<CStream> stream = m_medium.streams.Find(channelID);
    return stream ? stream->Wanted() : 0;
}

bool CSources::OnTcp(ITcpSession* session, uint32_t channelID) {
    const std::shared_ptr<CStream> stream = m_medium.streams.Find(channelID);
    if (channelID == 0 || m_contests.Has(channelID) || (stream && PlaceIn(*stream) == Place::Taken)) return false;
    if (!m_medium.MayHold(channelID, static_cast<uint32_t>(session->GetRemoteIP()))) return false;
    CNewcomer newcomer;
    if (!newcomer.connection.Take(m_medium.context.connections, static_cast<uint32_t>(session->GetRemoteIP())))
        return false;
    if (!AcceptTcpSession(session)) return false;
    newcomer.session.reset(session);
    return Admit(channelID, std::move(newcomer));
}

CSources::Place CSources::PlaceIn(CStream& stream) {
    Place place = Place::Free;
    stream.WithSource([&](CSource& source) {
        if (!source.IsGone()) place = source.AsUDP() ? Place::Doubtful : Place::Taken;
    });
    return place;
}

bool CSources::Admit(uint32_t channelID, CNewcomer newcomer) {
    const std::shared_ptr<CStream> stream = m_medium.streams.Find(channelID);
    const Place place = stream ? PlaceIn(*stream) : Place::Free;
    if (place == Place::Taken) return false;
    if (place == Place::Free) return Publish(channelID, std::move(newcomer));
    stream->WithSource([&](CSource& source) { m_contests.Begin(channelID, *source.AsUDP(), std::move(newcomer)); });
    return true;
}

bool CSources::Publish(uint32_t channelID, CNewcomer newcomer) {
    std::shared_ptr<CStream> stream = m_medium.streams.Find(channelID);
    if (!stream) stream = m_medium.MakeStream({channelID});
    if (!stream) return false;
    bool free = false;
    CUndo undo([&] {
        if (free) End(*stream);
        Settle(*stream);
    });
    if (!m_medium.Hold(*stream, newcomer.IP())) return false;  // and whoever is there stays
    End(*stream);
    free = true;
    if (newcomer.session)
        PublishTcp(*stream, newcomer);
    else if (!PublishUdp(*stream, std::move(newcomer.claim)))
        return false;
    m_claims.EndAllOf(channelID);
    undo.Keep();
    return true;
}

bool CSources::PublishUdp(CStream& stream, std::unique_ptr<CClaim> claim) {
    const uint32_t senderKey = claim->senderKey;
    auto source = CSourceUDP::Make(m_medium.row, stream, std::move(claim), m_medium.Limits());
    if (!source->Open()) return false;
    CSourceUDP& made = *source;
    CUndo leave([&] { made.End(); });
    m_sources.Put(made.SourceID(), &made, made.ChannelID(), senderKey);
    leave.Keep();
    stream.SetSource(std::move(source));
    m_medium.LogPeer(LogKind::Source, made.Status().peer, false, "publishes", stream.Key());
    made.Welcome();  // before what is asked of it
    OnPublished(stream);
    return true;
}

void CSources::PublishTcp(CStream& stream, CNewcomer& newcomer) {
    auto source = std::make_unique<CSourceTCP>(m_medium.row, stream, newcomer.session.get(), m_medium.Limits(),
                                               std::move(newcomer.connection));
    newcomer.session.release();
    m_medium.LogPeer(LogKind::Source, source->Status().peer, true, "publishes", stream.Key());
    stream.SetSource(std::move(source));
    OnPublished(stream);
    // A sink that comes or goes meanwhile tells it too: one of the two after the other.
    stream.WithSource([](CSource& made) { static_cast<CSourceTCP&>(made).AnswerValidation(); });
}

// A stream that nobody ever published is gone at once; nobody hears it.
void CSources::Settle(CStream& stream) {
    if (!stream.HasSource() && !stream.WasPublished()) m_medium.EndStream(stream);
}

void CSources::OnDatagram(const CServerDatagram& datagram) {
    const uint32_t sourceID = CWireReader(datagram.body + 1, datagram.length - 1).U32();
    if (Use(datagram, sourceID) || (m_claims.Count() == 0 && m_contests.IsEmpty())) return;
    CAutoLock gate(&m_medium.context.gate);
    const CPeer peer{datagram.ip, datagram.port};
    const bool leaving = datagram.row.code == m_medium.row.source.disconnect;
    if (leaving) m_contests.Leave(sourceID, peer);
    const uint32_t channelID = m_claims.ChannelOf(sourceID, peer);
    if (channelID == 0 || (!leaving && m_contests.Has(channelID))) return;  // it waits until that is decided
    CNewcomer newcomer;
    newcomer.claim = m_claims.Take(sourceID);
    if (!leaving && Admit(channelID, std::move(newcomer))) Use(datagram, sourceID);
}

// False when it is nobody's.
bool CSources::Use(const CServerDatagram& datagram, uint32_t sourceID) {
    bool found = false;
    uint32_t leaves = 0;
    m_sources.With(sourceID, [&](CSourceUDP& source) {
        if (!source.Is({datagram.ip, datagram.port})) return;
        found = true;
        source.Touch();
        if (datagram.row.code == m_medium.row.source.frame) {
            CWireReader fields(datagram.body + 1, datagram.length - 1);
            fields.U32();
            source.OnFrame(fields.Rest(), fields.Left());
        } else if (datagram.row.code == m_medium.row.source.disconnect) {
            leaves = source.ChannelID();
        }
    });
    if (leaves != 0) Leave(leaves, sourceID);
    return found;
}

void CSources::Leave(uint32_t channelID, uint32_t sourceID) {
    CAutoLock gate(&m_medium.context.gate);
    const std::shared_ptr<CStream> stream = m_medium.streams.Find(channelID);
    bool still = false;
    if (stream)
        stream->WithSource([&](CSource& source) { still = source.AsUDP() && source.AsUDP()->SourceID() == sourceID; });
    if (still) End(*stream);
}

void CSources::OnPublished(CStream& stream) {
    stream.SetPublished();
    m_relays.ServeKept(stream, {});
    m_medium.keyFrames.OnPublisher(stream);
}

void CSources::End(CStream& stream) {
    const std::unique_ptr<CSource> source = stream.TakeSource();
    if (!source) return;
    if (const CSourceUDP* udp = source->AsUDP()) m_sources.Take(udp->SourceID());
    const CSourceStatus last = source->Status();
    source->End();
    {
        CAutoLock lock(&m_medium.csEnded);
        m_medium.ended.links.Add(last.link);
    }
    m_medium.LogPeer(LogKind::Source, last.peer, last.tcp, "left", stream.ChannelID());
}

void CSources::OnSecond(uint32_t now) {
    for (const std::shared_ptr<CStream>& stream : m_medium.streams.All()) {
        bool gone = false;
        stream->WithSource([&](CSource& source) {
            gone = source.IsGone();
            if (!gone) source.OnSecond();
        });
        if (gone) End(*stream);
        PassOn(*stream);
        stream->Sample(now);
        ForgetIfUnused(*stream, now);
    }
    m_claims.OnSecond(now, [this](uint32_t channelID) { return Wanted(channelID); });
}

// Whoever keeps a channel by listening answers for it: its publisher could not end that.
void CSources::PassOn(CStream& stream) {
    CShareHold& holder = stream.Holder();
    if (stream.HasSource() || (holder.IsHeld() && stream.Subscribers().HasShown(holder.IP()))) return;
    for (const uint32_t ip : stream.Subscribers().Shown())
        if (holder.Take(m_medium.context.channels, ip)) return;
}

void CSources::ForgetIfUnused(CStream& stream, uint32_t now) {
    if (stream.IsRelayed()) return;  // it goes with its leg
    if (m_medium.row.board && !stream.WasPublished()) {
        m_medium.EndDeserted(stream.Key());
        return stream.SetJoining(false);  // who was let in a second ago and is not there will not come
    }
    const uint32_t goneAfter = m_medium.row.board ? server::kBoardGoneAfterMs : server::kChannelGoneAfterMs;
    if (stream.EmptyFor(now) >= goneAfter) m_medium.EndStream(stream);
}

bool CSources::OnTurn(uint32_t now) {
    if (!m_contests.IsEmpty()) {
        CAutoLock gate(&m_medium.context.gate);
        for (auto& [channelID, newcomer] : m_contests.OnTurn(m_medium.streams, now))
            Publish(channelID, std::move(newcomer));
    }
    bool sent = false;
    m_sources.ForEach([&](CSourceUDP& source) { sent = source.PumpFrames() || sent; });
    return sent;
}

void CSources::CloseAll() {
    m_contests.EndAll();
    for (const std::shared_ptr<CStream>& stream : m_medium.streams.All()) {
        bool closing = false;
        stream->WithSource([&](CSource& source) {
            source.TellToStop();
            closing = source.CloseWhenSent();
        });
        if (!closing) End(*stream);
    }
}

size_t CSources::CountOpen() {
    size_t count = 0;
    for (const std::shared_ptr<CStream>& stream : m_medium.streams.All())
        stream->WithSource([&](CSource& source) { count += source.IsGone() ? 0 : 1; });
    return count;
}
