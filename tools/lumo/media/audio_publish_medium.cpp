#include "tools/lumo/media/audio_publish_medium.h"

#include "tools/lumo/media/wall_clock.h"

#include <nlohmann/json.hpp>

namespace lumo {
namespace {
constexpr size_t kTrialBytes = 65536;
}

CAudioPublishMedium::CAudioPublishMedium() : CFilePublishMedium([this](const std::string& frame) { Write(frame); }) {}

bool CAudioPublishMedium::Prepare(std::string& problem) {
    if (!CFilePublishMedium::Prepare(problem)) return false;
    if (!Input().IsFile()) return true;
    CAudioPublisher trial([](const std::string&) {});
    std::string piece(kTrialBytes, '\0');
    bool ogg = false;
    while (trial.Fetch(0) == FetchState::NeedMore) {
        const ssize_t got = Input().Read(piece.data(), piece.size());
        if (got > 0) trial.Feed(piece.data(), static_cast<size_t>(got));
        ogg = ogg || piece.find("OggS") != std::string::npos;
        if (got <= 0 || !ogg) trial.Finish();  // whatever else it is, it may be long
    }
    problem = Input().Problem();
    if (problem.empty() && !trial.Problem().empty()) problem = File() + ": " + trial.Problem();
    if (problem.empty() && !Input().Seek(0)) problem = File() + ": it cannot be read twice";
    return problem.empty();
}

void CAudioPublishMedium::Write(const std::string& frame) {
    const char* data = frame.data();
    auto length = static_cast<int>(frame.size());
    if (Out().Seal(data, length)) m_channel->OnAudioChannelData(data, length);
}

std::unique_ptr<CLink> CAudioPublishMedium::Open(const RelayRoute& route, CInbox& inbox) {
    Out().Begin(route, SEAL_AUDIO);
    Source().SetSealed(Out().Seals());
    m_channel.reset(new CAudioChannel(route.channel));
    auto link = std::make_unique<CAudioPublishLink>(route, inbox);
    m_pLink = link.get();
    return link;
}

void CAudioPublishMedium::Close() {
    m_pLink = nullptr;
    m_channel.reset();
}

void CAudioPublishMedium::SendReady(uint64_t now) { Source().Send(now, WallClockUs()); }

void CAudioPublishMedium::SayGoodbye() { Source().SayGoodbye(WallClockUs()); }

std::string CAudioPublishMedium::Audience() {
    return AudienceOf(m_pLink, m_channel->HasStartedAudioSink(), m_channel->GetAudioSinkCount(), "listening");
}

nlohmann::json CAudioPublishMedium::Details() {
    return {{"packets", Source().Packets()}, {"heard", m_channel && m_channel->HasStartedAudioSink()}};
}

}  // namespace lumo
