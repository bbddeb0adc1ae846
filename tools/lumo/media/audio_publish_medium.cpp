#include "tools/lumo/media/audio_publish_medium.h"

#include "tools/lumo/media/wall_clock.h"

#include <nlohmann/json.hpp>

namespace lumo {

CAudioPublishMedium::CAudioPublishMedium()
    : CFilePublishMedium([this](const std::string& frame) {
          m_channel->OnAudioChannelData(frame.data(), static_cast<int>(frame.size()));
      }) {}

std::unique_ptr<CLink> CAudioPublishMedium::Open(const RelayRoute& route, CInbox& inbox) {
    m_channel.reset(new CAudioChannel(route.channel));
    return std::make_unique<CAudioPublishLink>(route, inbox);
}

void CAudioPublishMedium::SendReady(uint64_t now) { Source().Send(now, WallClockUs()); }

void CAudioPublishMedium::SayGoodbye() { Source().SayGoodbye(WallClockUs()); }

nlohmann::json CAudioPublishMedium::Details() {
    return {{"packets", Source().Packets()}, {"heard", m_channel && m_channel->HasStartedAudioSink()}};
}

}  // namespace lumo
