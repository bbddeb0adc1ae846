#include "tools/lumo/media/video_recorder.h"

#include <algorithm>
#include <cerrno>

namespace lumo {

bool CVideoRecorder::IsKnown(const Known& frame) const {
    return std::any_of(m_known.begin(), m_known.end(), [&frame](const Known& known) {
        return known.sequence == frame.sequence && known.hash == frame.hash;
    });
}

bool CVideoRecorder::OnFrame(const char* data, size_t length, uint64_t nowMs) {
    VideoFrame frame;
    if (!Decode(data, length, frame)) return false;
    if (frame.IsEnd()) {
        m_bEnded = true;
        return true;
    }
    const Known known{frame.sequence, std::hash<std::string_view>()(frame.unit)};
    if (IsKnown(known)) return true;
    const bool next = !m_known.empty() && frame.sequence == static_cast<uint16_t>(m_known.back().sequence + 1);
    if (frame.key || next) {
        Take(frame, known);
    } else {
        ++m_report.useless;
        if (!m_missingMs) m_missingMs = nowMs;
    }
    return true;
}

void CVideoRecorder::Take(const VideoFrame& frame, const Known& known) {
    if (!m_known.empty()) {
        const auto skipped = static_cast<uint16_t>(frame.sequence - m_known.back().sequence - 1);
        if (skipped <= kMostSkipped) m_report.skipped += skipped;
    }
    m_known.push_back(known);
    if (m_known.size() > kKnown) m_known.pop_front();
    m_missingMs.reset();
    m_askedMs.reset();
    ++m_report.frames;
    if (frame.key) ++m_report.keyFrames;
    m_report.bytes += frame.unit.size();
    if (!m_pFile || m_nError != 0) return;
    const bool written = std::fwrite(frame.unit.data(), 1, frame.unit.size(), m_pFile) == frame.unit.size();
    if (!written || std::fflush(m_pFile) != 0) m_nError = errno != 0 ? errno : EIO;
}

bool CVideoRecorder::KeyFrameDue(uint64_t nowMs) {
    if (!m_missingMs || nowMs - *m_missingMs < kPatienceMs) return false;
    if (m_askedMs && nowMs - *m_askedMs < kAskAgainMs) return false;
    m_askedMs = nowMs;
    ++m_report.requests;
    return true;
}

}  // namespace lumo
