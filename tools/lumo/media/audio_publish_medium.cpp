#include "tools/lumo/media/audio_publish_medium.h"

#include "tools/lumo/media/wall_clock.h"

#include <array>

namespace lumo {

void CAudioPublishMedium::AddOptions(CLI::App& command) {
    command.add_option("FILE", m_strFile, "An Ogg Opus file; - is standard input")->required();
    command.add_flag("--loop", m_bLoop, "Begin again at the end, until interrupted");
}

std::unique_ptr<CLink> CAudioPublishMedium::Open(const RelayRoute& route, CInbox& inbox) {
    m_channel.reset(new CAudioChannel(route.channel));
    return std::make_unique<CAudioPublishLink>(route, inbox);
}

void CAudioPublishMedium::Send(const std::string& frame) {
    m_channel->OnAudioChannelData(frame.data(), static_cast<int>(frame.size()));
}

bool CAudioPublishMedium::Feed() {
    std::array<char, 4096> piece;
    const ssize_t got = m_input.Read(piece.data(), piece.size());
    if (got > 0) m_publisher.Feed(piece.data(), static_cast<size_t>(got));
    if (got == 0) m_publisher.Finish();
    return got >= 0;
}

uint64_t CAudioPublishMedium::Turn(uint64_t now) {
    constexpr uint64_t kIdleMs = 50;
    if (m_ullStartedMs == 0) m_ullStartedMs = now;
    m_bHungry = false;
    while (!m_bOver) {
        switch (m_publisher.Fetch()) {
            case CAudioPublisher::State::Ready: {
                const uint64_t due = m_ullStartedMs + m_publisher.DueMs();
                if (now < due) return due - now;
                m_publisher.Send(now, WallClockUs());
                break;
            }
            case CAudioPublisher::State::NeedMore:
                m_bHungry = !Feed();
                if (m_bHungry) return kIdleMs;
                break;
            case CAudioPublisher::State::End:
                m_bOver = !m_bLoop || !m_input.Rewind();
                if (!m_bOver) m_publisher.Rewind();
                break;
            case CAudioPublisher::State::Failed:
                m_bOver = true;
                break;
        }
    }
    return 0;
}

void CAudioPublishMedium::SayGoodbye() { m_publisher.SayGoodbye(WallClockUs()); }

nlohmann::json CAudioPublishMedium::Details() {
    return {{"packets", m_publisher.Packets()}, {"listeners", m_channel ? m_channel->GetAudioSinkCount() : 0}};
}

}  // namespace lumo
