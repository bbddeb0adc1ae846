#include "tools/lumo/media/video_publish_medium.h"

#include "tools/lumo/media/video_frame.h"

#include <lumomedia/statistics.h>
#include <nlohmann/json.hpp>

#include <algorithm>

namespace lumo {

CVideoPublishMedium::CVideoPublishMedium() : CFilePublishMedium([this](std::string& frame) { Write(frame); }) {}

void CVideoPublishMedium::Write(std::string& frame) {
    char* data = frame.data();
    auto length = static_cast<int>(frame.size());
    if (!Out().Seal(data, length)) return;
    m_channel->OnVideoChannelData(data, length);
    std::copy_n(data, kVideoHeadLength, frame.data());  // the number that it got
}

void CVideoPublishMedium::AddOptions(CCommand& command) {
    AddFileTo(command, "An H.264 byte stream, such as ffmpeg writes with -f h264");
    command.Add("--fps NUMBER", m_dFps, "Pictures a second; 0: each as soon as it is read, for a live input")
        .Between(0.0, 1000.0)
        .ShowDefault();
    command.Example("lumo publish video talk.h264 --fps 30 --mcu relay.example", "A file, thirty pictures a second");
    command.Example(
        "ffmpeg -f v4l2 -i /dev/video0 -c:v libx264 -tune zerolatency -g 25 -f h264 - | lumo publish video - --fps 0",
        "A camera; LUMO_MCU names the server");
}

bool CVideoPublishMedium::Prepare(std::string& problem) {
    if (!CFilePublishMedium::Prepare(problem)) return false;
    Source().SetRate(m_dFps);
    if (!Input().IsFile()) return true;
    VideoIndex index;
    const auto read = [this](char* buffer, size_t size) { return Input().Read(buffer, size); };
    const bool indexed = ReadVideoIndex(read, index, problem);
    if (!Input().Problem().empty()) {
        problem = Input().Problem();
        return false;
    }
    if (!indexed || !Input().Seek(0)) {
        problem = File() + ": " + (problem.empty() ? "it cannot be read twice" : problem);
        return false;
    }
    Source().SetIndex(std::move(index), Loops());
    return true;
}

std::unique_ptr<CLink> CVideoPublishMedium::Open(const RelayRoute& route, CInbox& inbox) {
    Out().Begin(route, SEAL_VIDEO);
    m_channel.reset(new CVideoChannel(route.channel));
    auto link = std::make_unique<CVideoPublishLink>(route, inbox, m_bKeyWanted);
    m_pLink = link.get();
    return link;
}

void CVideoPublishMedium::Close() {
    m_pLink = nullptr;
    m_channel.reset();
}

uint64_t CVideoPublishMedium::Turn(uint64_t now) {
    bool wanted = m_bKeyWanted.exchange(false);
    while (m_channel->HasKeyFrameRequest()) wanted = true;  // one of those who ask at a time
    if (wanted) Source().RequestKeyFrame();
    return CFilePublishMedium::Turn(now);
}

void CVideoPublishMedium::SayGoodbye() {
    Source().SayGoodbye();
    DrainChannel(*m_channel, kVideoKind);
}

std::string CVideoPublishMedium::Audience() {
    return AudienceOf(m_pLink, m_channel->HasStartedVideoSink(), m_channel->GetVideoSinkCount(), "watching");
}

std::string CVideoPublishMedium::Summary() {
    return std::to_string(Source().Frames()) + " frames, " + std::to_string(Source().KeyFrames()) + " key frames";
}

nlohmann::json CVideoPublishMedium::Details() {
    LumoProcessStatistics statistics;
    GetProcessStatistics(statistics);
    return {{"frames", Source().Frames()},
            {"key_frames", Source().KeyFrames()},
            {"key_requests", Source().Requests()},
            {"empty_nal_units", Source().EmptyNals()},
            {"dropped", statistics.ullFramesDropped},
            {"waiting", m_channel ? m_channel->GetBufferingFrameCount() : 0},
            {"seen", m_channel && m_channel->HasStartedVideoSink()}};
}

}  // namespace lumo
