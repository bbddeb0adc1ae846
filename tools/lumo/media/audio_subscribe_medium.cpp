#include "tools/lumo/media/audio_subscribe_medium.h"

#include "tools/lumo/media/audio_links.h"
#include "tools/lumo/media/wall_clock.h"
#include "tools/lumo/transfer/error_text.h"
#include "tools/lumo/transfer/file_name.h"

#include <nlohmann/json.hpp>

namespace lumo {
namespace {

constexpr SubscribeProfile kAudioProfile{.name = "audio",
                                         .help = "Hear an audio channel",
                                         .out = "-o,--out FILE",
                                         .outHelp = "An Ogg Opus file to write; - is standard output",
                                         .player = "opusdec --force-wav - - | aplay",
                                         .seals = SEAL_AUDIO,
                                         .maxFrame = kMaxAudioFrame,
                                         .inboxBytes = 4 * 1024 * 1024};

}  // namespace

CAudioSubscribeMedium::CAudioSubscribeMedium() : COutputSubscribeMedium(kAudioProfile) {}

bool CAudioSubscribeMedium::Prepare(std::string& problem) {
    if (!m_strOut.empty()) {
        if (!m_file.Open(m_strOut, problem)) return false;
        m_writer = std::make_unique<COggOpusWriter>(m_file.Get());
    }
    m_recorder.emplace(m_writer.get());
    return true;
}

std::unique_ptr<CLink> CAudioSubscribeMedium::MakeLink(bool peer, bool tcp, const RelayRoute& route, CInbox& inbox,
                                                       const LinkTimes& times) {
    if (peer && tcp) return nullptr;  // sound goes directly over UDP alone
    return std::make_unique<CAudioSubscribeLink>(peer, route, inbox, times);
}

bool CAudioSubscribeMedium::OnFrame(const char* data, size_t length) {
    m_file.Begin();
    return m_recorder->OnFrame(data, length, WallClockUs());
}

void CAudioSubscribeMedium::Tick() { m_recorder->Tick(WallClockUs()); }

nlohmann::json CAudioSubscribeMedium::Details() const {
    const AudioReport report = m_recorder->Report();
    return {{"packets", report.packets},          {"lost", report.lost},
            {"lost_percent", report.lostPercent}, {"late", report.late},
            {"jitter_ms", report.jitterMs},       {"delay_p50_ms", report.delayP50Ms},
            {"delay_p99_ms", report.delayP99Ms}};
}

std::string CAudioSubscribeMedium::Quality() const {
    const AudioReport report = m_recorder->Report();
    char text[80];
    std::snprintf(text, sizeof text, "%.2f %% lost  delay %.0f ms", report.lostPercent, report.delayP50Ms);
    return text;
}

std::string CAudioSubscribeMedium::Summary(double seconds) const {
    const AudioReport report = m_recorder->Report();
    char text[200];
    std::snprintf(text, sizeof text,
                  "%llu packets, %.1f kb/s, %.2f %% lost, jitter %.2f ms, delay %.2f ms (p99 %.2f ms)",
                  static_cast<unsigned long long>(report.packets),
                  seconds > 0 ? static_cast<double>(report.bytes) * 8 / 1000 / seconds : 0, report.lostPercent,
                  report.jitterMs, report.delayP50Ms, report.delayP99Ms);
    return text;
}

std::string CAudioSubscribeMedium::Problem() const {
    if (!Written()) return "cannot write " + Printable(m_strOut) + ": " + ErrorText(m_writer->Error());
    const bool lost = IsHeadless() && m_recorder->Report().packets > 0;
    return lost ? "the heads of the stream have not come: nothing is written" : "";
}

}  // namespace lumo
