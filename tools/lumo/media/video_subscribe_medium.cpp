#include "tools/lumo/media/video_subscribe_medium.h"

#include "tools/lumo/net/loop.h"
#include "tools/lumo/transfer/error_text.h"
#include "tools/lumo/transfer/file_name.h"

#include <nlohmann/json.hpp>

namespace lumo {
namespace {

constexpr SubscribeProfile kVideoProfile{.name = "video",
                                         .help = "See a video channel",
                                         .out = "-o,--out FILE",
                                         .outHelp = "An H.264 byte stream to write; - is standard output",
                                         .player = "ffplay -f h264 -",
                                         .seals = SEAL_VIDEO,
                                         .maxFrame = kMaxVideoFrame + kSealOverhead,
                                         .inboxBytes = 32 * 1024 * 1024};

}  // namespace

CVideoSubscribeMedium::CVideoSubscribeMedium() : COutputSubscribeMedium(kVideoProfile) {}

bool CVideoSubscribeMedium::Prepare(std::string& problem) {
    if (!m_strOut.empty() && !m_file.Open(m_strOut, problem)) return false;
    m_recorder.emplace(m_file.Get());
    return true;
}

std::unique_ptr<CLink> CVideoSubscribeMedium::MakeLink(bool peer, bool tcp, const RelayRoute& route, CInbox& inbox,
                                                       const LinkTimes& times) {
    if (peer && tcp) return nullptr;  // a film goes directly over UDP alone
    auto link = std::make_unique<CVideoSubscribeLink>(peer, route, inbox, times);
    m_links.push_back(link.get());
    return link;
}

bool CVideoSubscribeMedium::OnFrame(const char* data, size_t length) {
    m_file.Begin();
    return m_recorder->OnFrame(data, length, CToolLoop::Now());
}

void CVideoSubscribeMedium::Tick() {
    if (!m_recorder->KeyFrameDue(CToolLoop::Now())) return;
    for (CVideoSubscribeLink* link : m_links) link->RequestKeyFrame();
}

nlohmann::json CVideoSubscribeMedium::Details() const {
    const VideoReport& report = m_recorder->Report();
    return {{"frames", report.frames},
            {"key_frames", report.keyFrames},
            {"skipped", report.skipped},
            {"useless", report.useless},
            {"key_requests", report.requests}};
}

std::string CVideoSubscribeMedium::Quality() const { return std::to_string(m_recorder->Report().skipped) + " skipped"; }

std::string CVideoSubscribeMedium::Summary(double seconds) const {
    const VideoReport& report = m_recorder->Report();
    char text[200];
    std::snprintf(text, sizeof text, "%llu frames, %llu of them key frames, %.1f kb/s, %llu skipped",
                  static_cast<unsigned long long>(report.frames), static_cast<unsigned long long>(report.keyFrames),
                  seconds > 0 ? static_cast<double>(report.bytes) * 8 / 1000 / seconds : 0,
                  static_cast<unsigned long long>(report.skipped));
    return text;
}

std::string CVideoSubscribeMedium::Problem() const {
    const int error = m_recorder->Error();
    return error == 0 ? "" : "cannot write " + Printable(m_strOut) + ": " + ErrorText(error);
}

}  // namespace lumo
