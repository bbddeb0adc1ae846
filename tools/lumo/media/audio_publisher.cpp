#include "tools/lumo/media/audio_publisher.h"

#include "tools/lumo/media/opus_packet.h"

#include <algorithm>
#include <utility>

namespace lumo {
namespace {

constexpr int kGoodbyes = 3;  // audio frames get lost

/// Comments may hold pictures; then subscribers get the name of the maker only.
std::string TagsThatFit(const std::string& tags, size_t room) {
    if (tags.size() <= room) return tags;
    const char maker[] = "lumo";
    std::string plain = "OpusTags";
    plain += {sizeof maker - 1, 0, 0, 0};
    plain += maker;
    return plain + std::string(4, '\0');
}

}  // namespace

CAudioPublisher::CAudioPublisher(Out out) : m_out(std::move(out)) { m_reader.emplace(); }

CAudioPublisher::State CAudioPublisher::Fetch(uint64_t nowMs) {
    if (!m_strPacket.empty()) return State::Ready;
    switch (m_reader->Next(m_strPacket)) {
        case COggOpusReader::Result::Packet:
            break;
        case COggOpusReader::Result::NeedMore:
            return State::NeedMore;
        case COggOpusReader::Result::End:
            if (m_bFound) return State::End;  // beginning again would find as little
            m_strProblem = "there is no sound in it";
            return State::Failed;
        case COggOpusReader::Result::Broken:
            m_strProblem = m_reader->Problem();
            return State::Failed;
    }
    m_strHead = m_reader->Head();
    m_strTags = TagsThatFit(m_reader->Tags(), m_nMaxPacket);
    if (m_strPacket.size() > m_nMaxPacket)
        m_strProblem = TooLong();
    else if (m_strHead.size() > m_nMaxPacket || OpusSamples(m_strPacket.data(), m_strPacket.size()) == 0)
        m_strProblem = "a packet is not Opus";
    m_bFound = true;
    if (!m_startedMs) m_startedMs = nowMs;
    return m_strProblem.empty() ? State::Ready : State::Failed;
}

std::string CAudioPublisher::TooLong() const {
    const bool sealed = m_nMaxPacket == kMaxSealedAudioPacket;
    return "a packet of " + std::to_string(m_strPacket.size()) + " bytes does not fit a " + (sealed ? "sealed " : "") +
           "frame, which takes " + std::to_string(m_nMaxPacket) +
           (sealed ? " (with --plain " + std::to_string(kMaxAudioPacket) + ")" : "") +
           ": encode with a lower bit rate or shorter packets";
}

uint64_t CAudioPublisher::DueMs() const { return m_startedMs.value_or(0) + m_ullPosition * 1000 / kOpusRate; }

void CAudioPublisher::Send(uint64_t nowMs, uint64_t wallUs) {
    if (m_strPacket.empty()) return;
    if (!m_headsMs || nowMs - *m_headsMs >= kHeadsMs) {
        m_headsMs = nowMs;
        SendControl(m_strHead, wallUs);
        SendControl(m_strTags, wallUs);
    }
    const uint64_t late = nowMs - std::min(nowMs, DueMs());
    if (late > kLateMs) m_startedMs = m_startedMs.value_or(0) + late - kLateMs;
    m_ullPosition += OpusSamples(m_strPacket.data(), m_strPacket.size());
    m_ullBytes += m_strPacket.size();
    m_out(Encode({m_ulSequence++, m_ullPosition, wallUs, std::exchange(m_strPacket, {})}));
}

void CAudioPublisher::SayGoodbye(uint64_t wallUs) {
    for (int i = 0; i < kGoodbyes; ++i) SendControl("", wallUs);
}

void CAudioPublisher::SendControl(const std::string& body, uint64_t wallUs) {
    m_out(Encode({m_ulSequence, AudioFrame::kNoPosition, wallUs, body}));
}

}  // namespace lumo
