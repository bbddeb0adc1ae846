#include "tools/lumo/media/audio_publish_medium.h"

#include "tools/lumo/media/wall_clock.h"

#include <nlohmann/json.hpp>

namespace lumo {

CAudioPublishMedium::CAudioPublishMedium() : CFilePublishMedium([this](const std::string& frame) { Write(frame); }) {}

void CAudioPublishMedium::Write(const std::string& frame) {
    const char* data = frame.data();
    auto length = static_cast<int>(frame.size());
    if (Out().Seal(data, length)) m_channel->OnAudioChannelData(data, length);
}

std::unique_ptr<CLink> CAudioPublishMedium::Open(const RelayRoute& route, CInbox& inbox) {
    Out().Begin(route, SEAL_AUDIO);
    Source().SetSealed(Out().Seals());
    m_channel.reset(new CAudioChannel(route.channel));
    return std::make_unique<CAudioPublishLink>(route, inbox);
}

void CAudioPublishMedium::SendReady(uint64_t now) { Source().Send(now, WallClockUs()); }

void CAudioPublishMedium::SayGoodbye() { Source().SayGoodbye(WallClockUs()); }

nlohmann::json CAudioPublishMedium::Details() {
    return {{"packets", Source().Packets()}, {"heard", m_channel && m_channel->HasStartedAudioSink()}};
}

}  // namespace lumo
