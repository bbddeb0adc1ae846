#include "tools/lumo/media/desktop_viewer.h"

namespace lumo {

CDesktopViewer::Take CDesktopViewer::OnFrame(const char* data, size_t length, Picture& picture) {
    DesktopHead head;
    if (!Decode(data, length, head, picture.bytes) || (head.HasPicture() && FormatOf(picture.bytes) != head.format)) {
        ++m_report.foreign;
        return Take::Foreign;
    }
    // By two ways at once the same frames come twice.
    if (head.stream == m_last.stream && head.sequence < m_last.sequence) return Take::Nothing;
    m_bEnded = head.kind == DesktopKind::End;
    if (!head.HasPicture()) {
        TakeBare(head);
        return Take::Nothing;
    }
    const bool same = head.stream == m_say.stream && head.picture == m_ulShown;
    m_last = head;
    if (!same) {
        picture.format = head.format;
        m_nBytes = picture.bytes.size();
        return Take::Picture;
    }
    m_say.sequence = head.sequence;
    m_bDue = true;
    return Take::Nothing;
}

// Frames come in order: a picture sent before this one and not here yet never comes.
void CDesktopViewer::TakeBare(const DesktopHead& head) {
    const bool behind = head.stream != m_last.stream || head.sequence != m_last.sequence;
    if (behind && head.sequence > 0) Ask();
    m_last.stream = head.stream;
    m_last.sequence = head.sequence;
}

void CDesktopViewer::OnShown(uint64_t wallUs) {
    m_say.stream = m_last.stream;
    m_say.sequence = m_last.sequence;
    m_ulShown = m_last.picture;
    m_bDue = true;
    ++m_report.pictures;
    m_report.bytes += m_nBytes;
    if (m_last.kind == DesktopKind::Picture) m_delays.Add(m_last.takenUs, wallUs);
}

void CDesktopViewer::OnNewPath() { Ask(); }

void CDesktopViewer::Ask() {
    ++m_say.asking;
    ++m_report.asked;
    m_bDue = true;
}

void CDesktopViewer::SetPointer(uint16_t x, uint16_t y) {
    m_bMoved = m_bMoved || x != m_say.pointerX || y != m_say.pointerY;
    m_say.pointerX = x;
    m_say.pointerY = y;
}

uint64_t CDesktopViewer::SpeakDueMs(uint64_t nowMs) const {
    if (m_bDue) return nowMs;
    return m_ullSpokenMs + (m_bMoved ? kPointerMs : kSpeakMs);
}

bool CDesktopViewer::Speak(uint64_t nowMs, std::string& frame) {
    if (nowMs < SpeakDueMs(nowMs)) return false;
    m_bDue = m_bMoved = false;
    m_ullSpokenMs = nowMs;
    frame = Encode(m_say);
    return true;
}

std::string CDesktopViewer::Leave() {
    m_say.leaves = true;
    return Encode(m_say);
}

ViewerReport CDesktopViewer::Report() const {
    ViewerReport report = m_report;
    report.delayP50Ms = m_delays.Ms(0.5);
    report.delayP99Ms = m_delays.Ms(0.99);
    return report;
}

}  // namespace lumo
