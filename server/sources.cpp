#include "server/sources.h"

#include "link/mcu_services.h"
#include "platform/lumobase/undo.h"
#include "server/source_tcp.h"

using wire::CWireReader;

CSources::CSources(CMedium& medium, CRelays& relays)
    : m_medium(medium), m_relays(relays), m_unproved(server::kMaxUnproved, medium.Limits().unprovedPerAddress) {}

void CSources::OnConnect(const CServerDatagram& datagram) {
    CWireReader fields(datagram.body + 1, datagram.length - 1);
    const uint32_t channelID = fields.U32();
    const uint32_t senderKey = fields.U32();
    const CPeer peer{datagram.ip, datagram.port};
    bool again = false;
    m_sources.WithPair(channelID, senderKey, [&](CSourceUDP& source) {
        again = source.Is(peer);
        if (again) source.OnConnect(datagram.length + 1);
    });
    if (again || m_unproved.AddressIsFull(peer.ip) || !m_medium.MayHold(channelID, peer.ip)) return;
    const std::shared_ptr<CStream> stream = TakePlace(channelID, true);
    if (!stream) return;
    CUndo undo([&] { Settle(*stream); });
    auto source = CSourceUDP::Make(m_medium.profile, *stream, peer, senderKey, m_medium.Limits());
    if (!source->Open()) return;
    CSourceUDP& made = *source;
    CUndo leave([&] {
        Forget(made);
        made.End();
    });
    m_unproved.Add(made.SourceID(), peer.ip, channelID);
    m_sources.Put(made.SourceID(), &made, channelID, senderKey);
    leave.Keep();
    undo.Keep();
    stream->SetSource(std::move(source));
    made.OnConnect(datagram.length + 1);
}

bool CSources::OnTcp(ITcpSession* session, uint32_t channelID) {
    const std::shared_ptr<CStream> stream = TakePlace(channelID, false);
    if (!stream) return false;
    CUndo undo([&] {
        End(*stream);
        Settle(*stream);
    });
    if (!m_medium.Hold(*stream, static_cast<uint32_t>(session->GetRemoteIP())) || !AcceptTcpSession(session))
        return false;
    auto source = std::make_unique<CSourceTCP>(m_medium.profile, *stream, session, m_medium.Limits(),
                                               m_medium.context.connections);
    m_medium.LogPeer(LogKind::Source, source->Status().peer, true, "publishes", channelID);
    stream->SetSource(std::move(source));
    OnPublished(*stream);
    // A sink that comes or goes meanwhile tells it too: one of the two after the other.
    stream->WithSource([](CSource& made) { static_cast<CSourceTCP&>(made).AnswerValidation(); });
    undo.Keep();
    return true;
}

std::shared_ptr<CStream> CSources::TakePlace(uint32_t channelID, bool udp) {
    bool taken = false;
    if (const auto held = m_medium.streams.Find(channelID))
        held->WithSource([&](CSource& source) { taken = !source.GivesWay(); });
    if (taken || (udp && m_unproved.IsFull() && !EvictOldest())) return nullptr;
    if (auto stream = m_medium.streams.Find(channelID)) {
        End(*stream);
        return stream;
    }
    return MakeRoomForChannel() ? m_medium.MakeStream({channelID}) : nullptr;
}

bool CSources::MakeRoomForChannel() { return m_medium.streams.Size() < m_medium.Limits().channels || EvictOldest(); }

bool CSources::EvictOldest() {
    const uint32_t oldest = m_unproved.Oldest();
    uint32_t channelID = 0;
    m_sources.With(oldest, [&](CSourceUDP& source) { channelID = source.ChannelID(); });
    const std::shared_ptr<CStream> stream = m_medium.streams.Find(channelID);
    if (!stream) return false;
    End(*stream);
    Settle(*stream);
    return true;
}

// A stream that nobody ever published is gone at once; nobody hears it.
void CSources::Settle(CStream& stream) {
    if (!stream.HasSource() && !stream.WasPublished()) m_medium.EndStream(stream);
}

void CSources::OnDatagram(const CServerDatagram& datagram) {
    const uint32_t sourceID = CWireReader(datagram.body + 1, datagram.length - 1).U32();
    if (Use(datagram, sourceID) != Found::Unheard) return;
    CAutoLock gate(&m_medium.context.gate);
    Prove(sourceID);
    Use(datagram, sourceID);
}

CSources::Found CSources::Use(const CServerDatagram& datagram, uint32_t sourceID) {
    Found found = Found::No;
    uint32_t leaves = 0;
    m_sources.With(sourceID, [&](CSourceUDP& source) {
        if (!source.Is({datagram.ip, datagram.port})) return;
        const bool leaving = datagram.row.code == m_medium.profile.disconnect;
        found = source.IsProved() ? Found::Heard : Found::Unheard;
        if (found == Found::Unheard) return;
        source.Touch();
        if (datagram.row.code == m_medium.profile.frame) {
            CWireReader fields(datagram.body + 1, datagram.length - 1);
            fields.U32();
            source.OnFrame(fields.Rest(), fields.Left());
        } else if (leaving) {
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

void CSources::Prove(uint32_t sourceID) {
    uint32_t channelID = 0;
    m_sources.With(sourceID, [&](CSourceUDP& source) { channelID = source.ChannelID(); });
    const std::shared_ptr<CStream> stream = m_medium.streams.Find(channelID);
    if (!stream) return;
    const bool first = m_unproved.Remove(sourceID) != 0;
    uint32_t ip = 0;
    stream->WithSource([&](CSource& source) { ip = source.Status().peer.ip; });
    if (!m_medium.Hold(*stream, ip)) {
        End(*stream);
        return Settle(*stream);
    }
    OnPublished(*stream);
    if (!first) return;
    m_sources.With(sourceID, [&](CSourceUDP& source) {
        source.Prove();
        m_medium.LogPeer(LogKind::Source, source.Status().peer, false, "publishes", stream->ChannelID());
    });
}

void CSources::OnPublished(CStream& stream) {
    stream.SetPublished();
    m_relays.ServeKept(stream, {});
    m_medium.keyFrames.OnPublisher(stream);
}

void CSources::End(CStream& stream) {
    const std::unique_ptr<CSource> source = stream.TakeSource();
    if (!source) return;
    if (CSourceUDP* udp = source->AsUDP()) Forget(*udp);
    const CSourceStatus last = source->Status();
    source->End();
    {
        CAutoLock lock(&m_medium.csEnded);
        m_medium.ended.links.Add(last.link);
    }
    if (last.proved) m_medium.LogPeer(LogKind::Source, last.peer, last.tcp, "left", stream.ChannelID());
}

void CSources::Forget(const CSourceUDP& source) {
    m_sources.Take(source.SourceID());
    m_unproved.Remove(source.SourceID());
}

void CSources::OnSecond(uint32_t now) {
    for (const std::shared_ptr<CStream>& stream : m_medium.streams.All()) {
        bool gone = false;
        stream->WithSource([&](CSource& source) {
            gone = source.IsGone();
            if (!gone) source.OnSecond();
        });
        if (gone) {
            End(*stream);
            Settle(*stream);
        }
        stream->Sample(now);
        ForgetIfUnused(*stream, now);
    }
}

void CSources::ForgetIfUnused(CStream& stream, uint32_t now) {
    if (stream.IsRelayed()) return;  // it goes with its leg
    if (m_medium.profile.board && !stream.WasPublished()) return m_medium.EndDeserted(stream.Key());
    if (stream.EmptyFor(now) >= m_medium.profile.channelGoneAfterMs) m_medium.EndStream(stream);
}

bool CSources::Pump() {
    bool sent = false;
    m_sources.ForEach([&](CSourceUDP& source) { sent = source.PumpFrames() || sent; });
    return sent;
}

void CSources::CloseAll() {
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
