#include "server/medium.h"

#include "server/stream.h"

void CMedium::LogPeer(const char* role, const CPeer& peer, bool tcp, const char* what, uint32_t channelID) {
    context.log.Line(std::string(profile.medium) + " " + role + " " + EndpointText(peer.ip, peer.port) +
                     (tcp ? " (tcp) " : " (udp) ") + what + " channel " + std::to_string(channelID));
}

std::shared_ptr<CStream> CMedium::MakeStream(uint32_t channelID) {
    if (closed || channelID == 0 || streams.Size() >= Limits().channels) return nullptr;
    std::shared_ptr<CStream> stream = classes.MakeStream(channelID);
    streams.Add(channelID, stream);
    stream->Open();
    return stream;
}

void CMedium::EndDeserted(uint32_t channelID) {
    const std::shared_ptr<CStream> stream = streams.Find(channelID);
    if (!stream || stream->HasSource() || stream->WasPublished() || stream->RelayedFrom() != 0) return;
    if (stream->SinkCount() == 0) EndStream(*stream);
}

void CMedium::EndStream(CStream& stream) {
    stream.Close();
    {
        CMediumStatus last;
        stream.AddTo(last);
        CAutoLock lock(&csEnded);
        ended.traffic.Add(last.traffic);
        ended.links.Add(last.links);
    }
    if (streams.Find(stream.ChannelID()).get() == &stream) streams.Remove(stream.ChannelID());
}
