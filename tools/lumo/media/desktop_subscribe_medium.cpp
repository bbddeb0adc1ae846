#include "tools/lumo/media/desktop_subscribe_medium.h"

#include "tools/lumo/media/wall_clock.h"
#include "tools/lumo/net/loop.h"

#include <nlohmann/json.hpp>

#include <array>
#include <cstdio>

namespace lumo {
namespace {

constexpr uint64_t kSilentTcpMs = 60000;  // over TCP the library tells, and a large picture may take its time

constexpr SubscribeProfile kDesktopProfile{
    .name = "desktop",
    .help = "See a shared screen",
    .out = "-o,--out DIRECTORY",
    .outHelp =
        "A directory for numbered files, a picture each; - is standard output, one "
        "picture behind the other",
    .player = "ffplay -f mjpeg -fflags nobuffer -",
    .seals = SEAL_DESKTOP,
    .maxFrame = kMaxDesktopFrame,
    .inboxBytes = 2 * kMaxDesktopFrame + 1024};

}  // namespace

CDesktopSubscribeMedium::CDesktopSubscribeMedium() : COutputSubscribeMedium(kDesktopProfile), m_viewer(RandomID()) {}

void CDesktopSubscribeMedium::AddOptions(CCommand& command) {
    COutputSubscribeMedium::AddOptions(command);
    command.AddFlag("--pointer", m_bPointer, "Show the publisher positions that come on standard input: lines of X Y");
}

bool CDesktopSubscribeMedium::Prepare(std::string& problem) {
    if (m_bPointer && !m_input.Open("-", problem)) return false;
    if (m_strOut.empty()) return true;
    if (m_strOut == "-") {
        m_sink = std::make_unique<CPictureOutput>(stdout);
        return true;
    }
    auto files = std::make_unique<CPictureFiles>();
    const bool good = files->Open(m_strOut);
    if (!good) problem = files->Problem();
    m_sink = std::move(files);
    return good;
}

template <class Library>
std::unique_ptr<CLink> CDesktopSubscribeMedium::MakeWay(bool peer, const RelayRoute& route, CInbox& inbox,
                                                        const LinkTimes& times) {
    auto link = std::make_unique<CDesktopSubscribeLink<Library>>(peer, route, inbox, times);
    m_ways.push_back({link.get()});
    if (!m_sealer) m_sealer.emplace(route.secret, LumoSealStream{SEAL_DESKTOP, SEAL_UP, route.channel});
    return link;
}

std::unique_ptr<CLink> CDesktopSubscribeMedium::MakeLink(bool peer, bool tcp, const RelayRoute& route, CInbox& inbox,
                                                         const LinkTimes& times) {
    if (peer && tcp) return MakeWay<DesktopLibraryP2PTCP>(peer, route, inbox, times);
    LinkTimes patient = times;
    if (tcp) patient.silence = kSilentTcpMs;
    return MakeWay<DesktopLibrary>(peer, route, inbox, patient);
}

bool CDesktopSubscribeMedium::OnFrame(const char* data, size_t length) {
    const CDesktopViewer::Take take = m_viewer.OnFrame(data, length, m_picture);
    if (take != CDesktopViewer::Take::Picture) return take != CDesktopViewer::Take::Foreign;
    if (!m_sink || m_sink->Put(m_picture)) m_viewer.OnShown(WallClockUs());
    return true;
}

void CDesktopSubscribeMedium::ReadPointer() {
    std::array<char, 4096> piece;
    const ssize_t got = m_bPointer ? m_input.Read(piece.data(), piece.size()) : -1;
    if (got == 0) m_bPointer = false;
    if (got <= 0) return;
    if (const auto point = m_pointer.Feed(piece.data(), static_cast<size_t>(got)))
        m_viewer.SetPointer(point->first, point->second);
}

// While two ways are up the publisher hears the same by both.
void CDesktopSubscribeMedium::Tick() {
    ReadPointer();
    bool any = false;
    for (Way& way : m_ways) {
        const int made = way.upstream->Link().Remakes() + 1;
        if (!way.upstream->Link().IsTaken()) continue;
        any = true;
        if (way.taken != made) m_viewer.OnNewPath();
        way.taken = made;
    }
    std::string report;
    if (any && m_viewer.Speak(CToolLoop::Now(), report)) SayToAll(report);
}

void CDesktopSubscribeMedium::SayToAll(const std::string& report) {
    const char* data = report.data();
    auto length = static_cast<int>(report.size());
    if (!m_sealer || !m_sealer->Seal(data, length)) return;
    for (const Way& way : m_ways)
        if (way.upstream->Link().IsTaken()) way.upstream->Say(data, length);
}

nlohmann::json CDesktopSubscribeMedium::Details() const {
    const ViewerReport report = m_viewer.Report();
    return {{"pictures", report.pictures},
            {"asked", report.asked},
            {"foreign", report.foreign},
            {"delay_p50_ms", report.delayP50Ms},
            {"delay_p99_ms", report.delayP99Ms}};
}

std::string CDesktopSubscribeMedium::Quality() const {
    char text[40];
    std::snprintf(text, sizeof text, "delay %.0f ms", m_viewer.Report().delayP50Ms);
    return text;
}

std::string CDesktopSubscribeMedium::Summary(double seconds) const {
    const ViewerReport report = m_viewer.Report();
    char text[200];
    std::snprintf(text, sizeof text, "%llu pictures, %.1f a second, %.1f MB, delay %.2f ms (p99 %.2f ms)",
                  static_cast<unsigned long long>(report.pictures),
                  seconds > 0 ? static_cast<double>(report.pictures) / seconds : 0,
                  static_cast<double>(report.bytes) / 1e6, report.delayP50Ms, report.delayP99Ms);
    return text;
}

}  // namespace lumo
