// The library's audio: one channel, many UDP sinks.
#include "bench/transports/audio_run.h"
#include "bench/transports/lumo_links.h"
#include "bench/transports/transports.h"

#include <nlohmann/json.hpp>

namespace bench {

namespace {

void PublishFrom(CSide& side, CLumoChannel<CAudioChannel>& channel) {
    WaitFor("a listener", [&] { return channel->HasStartedAudioSink(); });
    PublishAudio(side, [&](const char* frame, int length) { channel->OnAudioChannelData(frame, length); });
}

void Publish(CSide& side) {
    CLumoHost host;
    CLumoChannel<CAudioChannel> channel;
    side.Listening(host.Port());
    side.Connected();
    PublishFrom(side, channel);
}

void PublishToServer(CSide& side) {
    CLumoHost host;
    CLumoChannel<CAudioChannel> channel;
    CStreamPublication<IAudioSender, IAudioSenderNotify> publication(CreateAudioSenderUDP, side.Port());
    side.Connected();
    PublishFrom(side, channel);
}

void Hear(CSide& side) { HearAudio(side, Listener::Sender); }
void HearServer(CSide& side) { HearAudio(side, Listener::RelayServer); }

nlohmann::json Settings() { return LumoSettings("a channel's UDP sinks, each a socket of one other process"); }
nlohmann::json RelaySettings() { return LumoSettings("a UDP sender to the relay server to such sockets"); }

}  // namespace

std::vector<CDriver> LumoAudioDrivers() {
    return {{"lumo-audio", Role::Receiver, Listener::Sender, Publish, Hear, Settings},
            {"lumo-audio-relay", Role::Receiver, Listener::RelayServer, PublishToServer, HearServer, RelaySettings}};
}

}  // namespace bench
