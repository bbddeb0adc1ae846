#include "server/media/medium.h"

#include "platform/lumobase/undo.h"
#include "server/channels/server_channel.h"

void CMedium::LogEndpoint(LogKind role, const CEndpointAddress& address, bool tcp, const char* what, ChannelKey key) {
    context.log.Line(role, [&] {
        const std::string from = EndpointText(address.ip, address.port);
        CLogLine line(std::string(row.name) + " " + LogKindName(role) + " " + from + (tcp ? " (tcp) " : " (udp) ") +
                      what + " channel " + std::to_string(ChannelNumber(key)));
        line.fields = {{"event", what},
                       {"medium", row.name},
                       {"channel", ChannelNumber(key)},
                       {"address", from},
                       {"transport", tcp ? "tcp" : "udp"}};
        const std::shared_ptr<CServerChannel> channel = channels.Find(key);
        if (!channel || !channel->IsRelayed()) return line;
        const std::string home = EndpointText(channel->Home().ip, channel->Home().port);
        line.text += " of " + home;
        line.fields.emplace_back("home", home);
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

bool CMedium::Refuse(uint32_t ip, Refusal why) {
    context.log.Refused(ip, why);
    return false;
}

bool CMedium::RefuseRelay(uint32_t ip, Refusal why, uint32_t channelID, const CMcuAddress& home) const {
    context.log.Refused(ip, why, [&] {
        uint32_t first = 0;
        home.ForEachDistinct([&first](uint32_t one) { first = first == 0 ? one : first; });
        return std::string(row.name) + " channel " + std::to_string(channelID) + " of " +
               EndpointText(first, home.port);
    });
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
