#include "tools/lumo/media/desktop_publisher.h"

#include <algorithm>
#include <utility>

namespace lumo {

CDesktopPublisher::CDesktopPublisher(Out out, OnPointer pointer, uint32_t stream)
    : m_out(std::move(out)), m_pointer(std::move(pointer)), m_ulStream(stream) {
    m_head.stream = stream;
}

void CDesktopPublisher::Offer(Picture picture, uint64_t nowMs, uint64_t wallUs) {
    const Picture& newest = m_waiting ? m_waiting->picture : m_picture;
    if (picture.bytes == newest.bytes) {
        ++m_report.unchanged;
    } else {
        if (m_waiting) ++m_report.skipped;
        m_waiting = Waiting{std::move(picture), wallUs};
    }
    Poll(nowMs, wallUs);
}

bool CDesktopPublisher::Counts(const Viewer& viewer, uint64_t nowMs) const {
    return nowMs - viewer.heardMs < kSilentMs && (viewer.shown == m_head.sequence || nowMs - viewer.movedMs < kStuckMs);
}

// With nobody there a picture leaves now and then only, for viewers that cannot speak.
bool CDesktopPublisher::MaySend(uint64_t nowMs) const {
    bool anybody = false;
    for (const auto& [id, viewer] : m_viewers) {
        if (!Counts(viewer, nowMs)) continue;
        if (m_head.sequence - viewer.shown >= kAhead) return false;
        anybody = true;
    }
    return anybody || !m_sentMs || nowMs - *m_sentMs >= kRepeatMs;
}

bool CDesktopPublisher::MayRepeat(uint64_t nowMs) const {
    if (!m_sentMs) return false;
    return nowMs - *m_sentMs >= kRepeatMs || (m_bWanted && nowMs - *m_sentMs >= kRepeatForNewMs);
}

void CDesktopPublisher::Poll(uint64_t nowMs, uint64_t wallUs) {
    for (auto viewer = m_viewers.begin(); viewer != m_viewers.end();)
        viewer = nowMs - viewer->second.heardMs >= kSilentMs ? m_viewers.erase(viewer) : std::next(viewer);
    if (m_waiting && MaySend(nowMs)) {
        m_picture = std::move(m_waiting->picture);
        m_head.takenUs = m_waiting->takenUs;
        m_waiting.reset();
        ++m_head.picture;
        ++m_report.sent;
        m_report.bytes += m_picture.bytes.size();
        SendPicture(DesktopKind::Picture, nowMs);
    } else if (MaySend(nowMs) && MayRepeat(nowMs)) {
        ++m_report.repeated;
        SendPicture(DesktopKind::Again, nowMs);
    } else if (nowMs - m_ullSpokenMs >= kHereMs) {
        m_ullSpokenMs = nowMs;
        SendBare(DesktopKind::Here, wallUs);
    }
}

void CDesktopPublisher::SendPicture(DesktopKind kind, uint64_t nowMs) {
    for (auto& [id, viewer] : m_viewers)
        if (viewer.shown == m_head.sequence) viewer.movedMs = nowMs;  // its time to show this one begins
    m_head.kind = kind;
    m_head.format = m_picture.format;
    ++m_head.sequence;
    m_sentMs = m_ullSpokenMs = nowMs;
    m_bWanted = false;
    m_out(Encode(m_head, m_picture.bytes));
}

void CDesktopPublisher::SendBare(DesktopKind kind, uint64_t wallUs) {
    DesktopHead head = m_head;
    head.kind = kind;
    head.format = PictureFormat::None;
    head.takenUs = wallUs;
    m_out(Encode(head, ""));
}

CDesktopPublisher::Viewer* CDesktopPublisher::FindViewer(const ViewReport& report, uint64_t nowMs) {
    const auto known = m_viewers.find(report.viewer);
    if (known == m_viewers.end() && m_viewers.size() >= kMaxViewers) return nullptr;
    Viewer& viewer = known == m_viewers.end() ? m_viewers[report.viewer] : known->second;
    if (known == m_viewers.end() || viewer.asking != report.asking) {
        const bool has = report.stream == m_ulStream && report.sequence == m_head.sequence;
        m_bWanted = m_bWanted || !has;
        viewer.asking = report.asking;
        viewer.shown = m_head.sequence;
        viewer.movedMs = nowMs;
    }
    viewer.heardMs = nowMs;
    return &viewer;
}

void CDesktopPublisher::OnReport(const char* data, size_t length, uint64_t nowMs) {
    ViewReport report;
    if (!Decode(data, length, report)) return;
    if (report.leaves) {
        m_viewers.erase(report.viewer);
        return;
    }
    Viewer* viewer = FindViewer(report, nowMs);
    if (!viewer) return;
    if (report.stream != m_ulStream) return;  // it points into a picture of another run, or there is a recording of it
    if (report.sequence <= m_head.sequence && report.sequence > viewer->shown) {
        viewer->shown = report.sequence;
        viewer->movedMs = nowMs;
    }
    NotePointer(*viewer, report);
}

void CDesktopPublisher::NotePointer(Viewer& viewer, const ViewReport& report) {
    const bool moved = viewer.x != report.pointerX || viewer.y != report.pointerY;
    viewer.x = report.pointerX;
    viewer.y = report.pointerY;
    if (moved && m_pointer) m_pointer({report.viewer, report.pointerX, report.pointerY});
}

void CDesktopPublisher::OnNewPath(uint64_t nowMs) {
    for (auto& [id, viewer] : m_viewers) {
        viewer.shown = m_head.sequence;
        viewer.movedMs = nowMs;
    }
    m_bWanted = true;
}

bool CDesktopPublisher::Settled(uint64_t nowMs) const {
    return !m_waiting && std::all_of(m_viewers.begin(), m_viewers.end(), [&](const auto& entry) {
        return !Counts(entry.second, nowMs) || entry.second.shown == m_head.sequence;
    });
}

void CDesktopPublisher::SayGoodbye(uint64_t wallUs) { SendBare(DesktopKind::End, wallUs); }

DesktopReport CDesktopPublisher::Report(uint64_t nowMs) const {
    DesktopReport report = m_report;
    for (const auto& [id, viewer] : m_viewers) report.viewers += nowMs - viewer.heardMs < kSilentMs ? 1 : 0;
    return report;
}

}  // namespace lumo
