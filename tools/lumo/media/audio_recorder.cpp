#include "tools/lumo/media/audio_recorder.h"

#include "tools/lumo/media/opus_packet.h"

#include <cmath>
#include <utility>

namespace lumo {

bool CAudioRecorder::OnFrame(const char* data, size_t length, uint64_t nowUs) {
    AudioFrame frame;
    if (!Decode(data, length, frame)) return false;
    if (frame.IsControl()) {
        OnControl(frame);
    } else if (OpusSamples(frame.body.data(), frame.body.size()) == 0) {
        return false;
    } else {
        if (IsAnew(frame)) BeginAnew(frame.sequence);
        Measure(frame, nowUs);
        OnPacket(std::move(frame), nowUs);
    }
    return true;
}

void CAudioRecorder::OnControl(const AudioFrame& frame) {
    if (frame.body.size() >= kShortestHead && frame.body.compare(0, 8, "OpusHead") == 0)
        m_strHead = frame.body;
    else if (frame.body.compare(0, 8, "OpusTags") == 0)
        m_strTags = frame.body;
    else if (frame.body.empty())
        m_bEnded = true;
    if (!m_pWriter || m_pWriter->Begun() || m_strHead.empty() || m_strTags.empty()) return;
    m_pWriter->Begin(m_strHead, m_strTags);
    TakeReady();
}

void CAudioRecorder::Measure(const AudioFrame& frame, uint64_t nowUs) {
    // Positions are those of the packets' ends, but each packet is as late as the one before.
    const auto position = static_cast<int64_t>(frame.granule * 1000 / (kOpusRate / 1000));
    const int64_t transit = static_cast<int64_t>(nowUs) - position;
    if (m_transit) m_dJitterUs += (std::abs(static_cast<double>(transit - *m_transit)) - m_dJitterUs) / 16;
    m_transit = transit;
    m_delays.Add(frame.sentUs, nowUs);
}

// Far from the others, or in front of them though it was sent after them.
bool CAudioRecorder::IsAnew(const AudioFrame& frame) const {
    if (!m_next) return false;
    const auto ahead = static_cast<int32_t>(frame.sequence - *m_next);
    if (std::abs(static_cast<int64_t>(ahead)) > kMostJump) return true;
    return ahead < 0 && frame.sentUs > m_ullNewestUs + kSentLaterUs;
}

void CAudioRecorder::BeginAnew(uint32_t sequence) {
    while (!m_held.empty()) SkipToHeld();
    m_next = sequence;
    m_strLast.clear();  // nothing between the two is lost
    m_transit.reset();
    m_ullNewestUs = 0;
}

void CAudioRecorder::OnPacket(AudioFrame&& frame, uint64_t nowUs) {
    if (!m_next) m_next = frame.sequence;
    const auto ahead = static_cast<int32_t>(frame.sequence - *m_next);
    if (ahead < 0 || m_held.count(frame.sequence) != 0) {
        ++m_report.late;
        return;
    }
    m_ullNewestUs = std::max(m_ullNewestUs, frame.sentUs);
    ++m_report.packets;
    m_report.bytes += frame.body.size();
    m_held[frame.sequence] = {std::move(frame.body), frame.granule, nowUs};
    TakeReady();
    const bool headless = m_pWriter && !m_pWriter->Begun();
    while (m_held.size() > (headless ? kMaxHeadless : kMaxHeld)) SkipToHeld();
}

// Before the heads are there nothing can be written: what waits then is bounded, and begins the file.
void CAudioRecorder::TakeReady() {
    if (m_pWriter && !m_pWriter->Begun()) return;
    for (auto next = m_held.find(m_next.value_or(0)); next != m_held.end(); next = m_held.find(*m_next)) {
        Take(next->second);
        m_held.erase(next);
        ++*m_next;
    }
}

void CAudioRecorder::SkipToHeld() {
    auto first = m_held.lower_bound(*m_next);  // sequences wrap: those before it come after all others
    if (first == m_held.end()) first = m_held.begin();
    m_report.lost += first->first - *m_next;
    m_next = first->first + 1;
    const Held held = std::move(first->second);
    m_held.erase(first);
    if (!m_pWriter || m_pWriter->Begun()) Take(held);
    TakeReady();
}

void CAudioRecorder::Tick(uint64_t nowUs) {
    if (m_pWriter && !m_pWriter->Begun()) return;
    while (!m_held.empty()) {
        auto first = m_held.lower_bound(*m_next);
        if (first == m_held.end()) first = m_held.begin();
        if (nowUs < first->second.sinceUs + kPatienceUs) return;
        SkipToHeld();
    }
}

void CAudioRecorder::Take(const Held& held) {
    const uint32_t samples = OpusSamples(held.packet.data(), held.packet.size());
    if (!m_strLast.empty()) Fill(held.granule - samples);
    m_strLast = held.packet;
    m_ullPosition = held.granule;
    m_ullWritten += samples;
    if (m_pWriter) m_pWriter->Write(held.packet, m_ullWritten);
}

void CAudioRecorder::Fill(uint64_t begin) {
    const uint64_t gap = begin - m_ullPosition;
    if (gap > kMostFilled) return;  // also where the publisher went back
    const std::string lost = LostOpusPacket(m_strLast);
    const uint32_t samples = OpusSamples(lost.data(), lost.size());
    for (uint64_t filled = 0; filled + samples <= gap; filled += samples) {
        m_ullWritten += samples;
        if (m_pWriter) m_pWriter->Write(lost, m_ullWritten);
    }
}

void CAudioRecorder::Finish() {
    while (!m_held.empty() && (!m_pWriter || m_pWriter->Begun())) SkipToHeld();
    if (m_pWriter) m_pWriter->End();
}

AudioReport CAudioRecorder::Report() const {
    AudioReport report = m_report;
    const auto whole = static_cast<double>(report.packets + report.lost);
    report.lostPercent = whole > 0 ? 100 * static_cast<double>(report.lost) / whole : 0;
    report.jitterMs = m_dJitterUs / 1000;
    report.delayP50Ms = m_delays.Ms(0.5);
    report.delayP99Ms = m_delays.Ms(0.99);
    return report;
}

}  // namespace lumo
