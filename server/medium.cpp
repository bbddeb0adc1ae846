#include "server/medium.h"

#include "platform/lumobase/undo.h"
#include "server/stream.h"

void CMedium::LogPeer(LogKind role, const CPeer& peer, bool tcp, const char* what, ChannelKey channel) {
    context.log.Line(role, [&] {
        std::string line = std::string(row.name) + " " + LogKindName(role) + " " + EndpointText(peer.ip, peer.port) +
                           (tcp ? " (tcp) " : " (udp) ") + what + " channel " + std::to_string(ChannelNumber(channel));
        const std::shared_ptr<CStream> stream = streams.Find(channel);
        if (stream && stream->IsRelayed()) line += " of " + EndpointText(stream->Home().ip, stream->Home().port);
        return line;
    });
}

bool CMedium::MayHold(uint32_t channelID, uint32_t ip) {
    const std::shared_ptr<CStream> stream = streams.Find(channelID);
    return (stream && stream->Holder().IsOf(ip)) || !context.channels.IsFull(ip) || Refuse(ip);
}

bool CMedium::Hold(CStream& stream, uint32_t ip) { return stream.Holder().Take(context.channels, ip) || Refuse(ip); }

bool CMedium::Refuse(uint32_t ip, const char* why) {
    context.log.Refused(ip, why);
    return false;
}

std::shared_ptr<CStream> CMedium::MakeStream(const CStreamName& name) {
    if (closed || name.channelID == 0 || streams.Size() >= Limits().channels) return nullptr;
    std::shared_ptr<CStream> stream = classes.MakeStream(name);
    streams.Add(name.Key(), stream);
    CUndo undo([&] { streams.Remove(name.Key()); });
    stream->Open();
    undo.Keep();
    return stream;
}

std::shared_ptr<CStream> CMedium::FindServed(uint32_t channelID) {
    std::shared_ptr<CStream> own = streams.Find(channelID);
    return own && (row.board || own->WasPublished()) ? own : nullptr;
}

void CMedium::EndDeserted(ChannelKey channel) {
    const std::shared_ptr<CStream> stream = streams.Find(channel);
    if (!stream || stream->HasSource() || stream->WasPublished() || stream->IsRelayed()) return;
    // A subscriber is counted before it is in the channel, and is no longer joining then.
    if (stream->SinkCount() == 0 && !stream->IsJoining() && stream->Subscribers().IsEmpty()) EndStream(*stream);
}

void CMedium::EndStream(CStream& stream) {
    stream.Close();
    stream.Holder().Release();
    {
        CMediumStatus last;
        stream.AddTo(last);
        CAutoLock lock(&csEnded);
        ended.traffic.Add(last.traffic);
        ended.links.Add(last.links);
    }
    if (streams.Find(stream.Key()).get() == &stream) streams.Remove(stream.Key());
}
