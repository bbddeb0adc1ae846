#include "tools/lumo/media/desktop_publish_medium.h"

#include "tools/lumo/media/wall_clock.h"
#include "tools/lumo/net/loop.h"

#include <poll.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <cstdio>
#include <limits>

namespace lumo {
namespace {

constexpr double kFolderFps = 10;
constexpr size_t kUpstreamBytes = 4 * 1024 * 1024;

uint32_t NewStream() { return static_cast<uint32_t>(RandomID() >> 32) | 1U; }

std::string HexText(uint64_t value) {
    char text[17];
    std::snprintf(text, sizeof text, "%016llx", static_cast<unsigned long long>(value));
    return text;
}

std::string PlaceText(const nlohmann::json& pointer) {
    if (!pointer.contains("x")) return " points nowhere";
    return " points at " + pointer["x"].dump() + "," + pointer["y"].dump();
}

}  // namespace

CDesktopPublishMedium::CDesktopPublishMedium()
    : m_upstream(m_wake, kViewReportLength + kSealOverhead, kUpstreamBytes),
      m_publisher([this](const std::string& frame) { Send(frame); },
                  [this](const ViewerPointer& pointer) { NotePointer(pointer); }, NewStream()) {}

void CDesktopPublishMedium::AddOptions(CCommand& command) {
    command
        .Add("DIRECTORY", m_strFrom,
             "A directory of PNG and JPEG files, a picture each in the order of their names; - is JPEG pictures "
             "that follow one another on standard input, such as ffmpeg writes with -f mjpeg")
        .Required();
    command.Add("--fps NUMBER", m_fps, "Pictures a second; usual: 10 of a directory, each as it comes of a stream")
        .Between(0.01, 1000.0);
    command.Add("--viewers NUMBER", m_nViewers, "Begin when so many are there").Within(0, 1000);
    command.AddFlag("--loop", m_bLoop, "Begin the directory again at its end, until interrupted");
    command.Example("lumo publish desktop slides --fps 0.2 --loop --mcu relay.example", "A picture every five seconds");
    command.Example("ffmpeg -f x11grab -framerate 30 -i :0 -c:v mjpeg -q:v 4 -f mjpeg - | lumo publish desktop -",
                    "A screen; LUMO_MCU names the server");
}

bool CDesktopPublishMedium::Prepare(std::string& problem) {
    if (m_strFrom == "-") {
        if (!m_input.Open(m_strFrom, problem)) return false;
        const auto read = [this](char* buffer, size_t size) { return m_input.Read(buffer, size); };
        m_source = std::make_unique<CPictureStream>(read, m_input.Fd(), m_fps.value_or(0));
    } else {
        auto folder = std::make_unique<CPictureFolder>(m_fps.value_or(kFolderFps), m_bLoop);
        if (!folder->Open(m_strFrom)) problem = folder->Problem();
        m_source = std::move(folder);
    }
    m_waits.Add(m_wake.Fd());
    return problem.empty();
}

std::unique_ptr<CLink> CDesktopPublishMedium::Open(const RelayRoute& route, CInbox& inbox) {
    m_out.Begin(route, SEAL_DESKTOP);
    m_opener.emplace(route.secret, LumoSealStream{SEAL_DESKTOP, SEAL_UP, route.channel});
    m_channel.reset(new CDesktopToolChannel(route.channel, &m_upstream));
    m_direct.reset(new CDesktopToolChannel(DirectChannel(route.channel), &m_upstream));
    auto link = std::make_unique<CDesktopPublishLink>(route, inbox);
    m_pLink = link.get();
    return link;
}

void CDesktopPublishMedium::Send(const std::string& frame) {
    const char* data = frame.data();
    auto length = static_cast<int>(frame.size());
    if (!m_out.Seal(data, length)) return;
    m_channel->Write(data, length);
    m_direct->Write(data, length);
}

void CDesktopPublishMedium::NotePointer(const ViewerPointer& pointer) {
    nlohmann::json event{{"event", "pointer"}, {"viewer", HexText(pointer.viewer)}};
    if (pointer.x != ViewReport::kNowhere) {
        event["x"] = pointer.x;
        event["y"] = pointer.y;
    }
    if (m_events.size() < kMaxEvents) m_events.push_back(std::move(event));
}

nlohmann::json CDesktopPublishMedium::NextEvent(std::string& words) {
    if (m_events.empty()) return {};
    nlohmann::json event = std::move(m_events.front());
    m_events.pop_front();
    // A pointer moves often: of several positions that wait the last one is told in words.
    const std::string viewer = event.value("viewer", "");
    const bool last = m_events.empty() || m_events.front().value("viewer", "") != viewer;
    if (last) words = "viewer " + viewer.substr(viewer.size() - 4) + PlaceText(event);
    return event;
}

std::string CDesktopPublishMedium::Audience() {
    const size_t viewers = m_publisher.Report(CToolLoop::Now()).viewers;
    return viewers > 0 ? std::to_string(viewers) + " watching" : "nobody watching";
}

std::string CDesktopPublishMedium::Summary() {
    const DesktopReport report = m_publisher.Report(CToolLoop::Now());
    return std::to_string(report.sent) + " pictures, " + std::to_string(report.skipped) + " skipped";
}

bool CDesktopPublishMedium::HearViewers(uint64_t now) {
    m_wake.Rest();
    std::string report;
    int left = kReportsPerTurn;
    for (; left > 0 && m_upstream.Pop(report); --left) {
        char* data = report.data();
        size_t length = report.size();
        if (m_opener->Open(data, length, now)) m_publisher.OnReport(data, length, now);
    }
    const int made = m_pLink->Remakes() + 1;
    if (m_pLink->IsTaken() && made != m_nTaken) {
        m_nTaken = made;
        m_publisher.OnNewPath(now);
    }
    return left == 0;
}

uint64_t CDesktopPublishMedium::TakePictures(uint64_t now) {
    m_waits.Drop(m_input.Fd());
    m_bBegun = m_bBegun || m_publisher.Report(now).viewers >= m_nViewers;
    if (!m_bBegun || m_endMs) return UINT64_MAX;
    Picture picture;
    for (int i = 0; i < kPicturesPerTurn; ++i) {
        switch (m_source->Fetch(now, picture)) {
            case IPictureSource::State::Picture:
                m_publisher.Offer(std::move(picture), now, WallClockUs());
                break;
            case IPictureSource::State::Wait:
                m_waits.Add(m_source->Fd());
                return m_source->WaitMs(now);
            case IPictureSource::State::End:
                m_endMs = now;
                return UINT64_MAX;
            case IPictureSource::State::Failed:
                m_bOver = true;
                return 0;
        }
    }
    return 0;
}

// What is written before the server has taken us is lost at first and comes late.
bool CDesktopPublishMedium::IsReady(uint64_t now) {
    if (!m_startMs) m_startMs = now;
    return m_nTaken > 0 || now - *m_startMs >= kUntakenMs;
}

uint64_t CDesktopPublishMedium::Turn(uint64_t now) {
    const bool more = HearViewers(now);
    if (!IsReady(now)) return more ? 0 : UINT64_MAX;
    m_publisher.Poll(now, WallClockUs());  // who has shown a picture need not wait for the next one to be read
    const uint64_t wait = TakePictures(now);
    if (m_endMs && (m_publisher.Settled(now) || now - *m_endMs >= kLastMs)) m_bOver = true;
    return more ? 0 : wait;
}

void CDesktopPublishMedium::SayGoodbye() {
    constexpr int kGoodbyes = 2;  // the second leaves the queue when the first has arrived
    constexpr int kStepMs = 5;
    for (int i = 0; i < kGoodbyes; ++i) m_publisher.SayGoodbye(WallClockUs());
    const uint64_t start = CToolLoop::Now();
    for (uint64_t now = start; now - start < kLastMs && AnybodyListens(now); now = CToolLoop::Now()) {
        pollfd report{m_wake.Fd(), POLLIN, 0};
        poll(&report, 1, kStepMs);
        HearViewers(now);
    }
}

// The channels tell of the fastest viewer only; who has heard the goodbye leaves.
bool CDesktopPublishMedium::AnybodyListens(uint64_t now) {
    return m_publisher.Report(now).viewers > 0 || m_channel->GetBufferingFrameCount() > 0 ||
           m_direct->GetBufferingFrameCount() > 0;
}

void CDesktopPublishMedium::Close() {
    m_direct.reset();
    m_channel.reset();
}

uint64_t CDesktopPublishMedium::Bytes() const { return m_publisher.Report(CToolLoop::Now()).bytes; }

nlohmann::json CDesktopPublishMedium::Details() {
    const DesktopReport report = m_publisher.Report(CToolLoop::Now());
    return {{"pictures", report.sent},
            {"skipped", report.skipped},
            {"unchanged", report.unchanged},
            {"repeated", report.repeated},
            {"viewers", report.viewers},
            {"unreadable", m_source->Skipped()},
            {"picture_bytes", report.bytes},
            {"not_opened", m_opener ? m_opener->Dropped() : std::map<std::string, uint64_t>()}};
}

}  // namespace lumo
