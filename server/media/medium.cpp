#include "server/media/medium.h"

#include "platform/lumobase/undo.h"
#include "server/channels/server_channel.h"

void CMedium::LogEndpoint(LogKind role, const CEndpointAddress& address, bool tcp, const char* what, ChannelKey key) {
    context.log.Line(role, [&] {
        std::string line = std::string(row.name) + " " + LogKindName(role) + " " +
                           EndpointText(address.ip, address.port) + (tcp ? " (tcp) " : " (udp) ") + what + " channel " +
                           std::to_string(ChannelNumber(key));
        const std::shared_ptr<CServerChannel> channel = channels.Find(key);
        if (channel && channel->IsRelayed()) line += " of " + EndpointText(channel->Home().ip, channel->Home().port);
        return line;
    });
}

bool CMedium::MayHold(uint32_t channelID, uint32_t ip) {
    const std::shared_ptr<CServerChannel> channel = channels.Find(channelID);
    return (channel && channel->Holder().IsOf(ip)) || !context.channelQuotas.IsFull(ip) || Refuse(ip);
}

bool CMedium::Hold(CServerChannel& channel, uint32_t ip) {
    return channel.Holder().Take(context.channelQuotas, ip) || Refuse(ip);
}

bool CMedium::Refuse(uint32_t ip, const char* why) {
    context.log.Refused(ip, why);
    return false;
}

std::shared_ptr<CServerChannel> CMedium::MakeChannel(const CServerChannelName& name) {
    if (closed || name.channelID == 0 || channels.Size() >= Limits().channels) return nullptr;
    std::shared_ptr<CServerChannel> channel = adapter.MakeChannel(name);
    channels.Add(name.Key(), channel);
    CUndo undo([&] { channels.Remove(name.Key()); });
    channel->Open();
    undo.Keep();
    return channel;
}

std::shared_ptr<CServerChannel> CMedium::FindServed(uint32_t channelID) {
    std::shared_ptr<CServerChannel> own = channels.Find(channelID);
    return own && (row.board || own->WasPublished()) ? own : nullptr;
}

void CMedium::EndDeserted(ChannelKey key) {
    const std::shared_ptr<CServerChannel> channel = channels.Find(key);
    if (!channel || channel->HasSource() || channel->WasPublished() || channel->IsRelayed()) return;
    // A subscriber is counted before it is in the channel, and is no longer joining then.
    if (channel->SinkCount() == 0 && !channel->IsJoining() && channel->Subscribers().IsEmpty()) EndChannel(*channel);
}

void CMedium::EndChannel(CServerChannel& channel) {
    channel.Close();
    channel.Holder().Release();
    {
        CMediumStatus last;
        channel.AddTo(last);
        CAutoLock lock(&csEnded);
        ended.traffic.Add(last.traffic);
        ended.links.Add(last.links);
    }
    if (channels.Find(channel.Key()).get() == &channel) channels.Remove(channel.Key());
}
