// Decides which picture of a screen leaves when, by what its viewers have shown.
#pragma once

#include "tools/lumo/media/desktop_frame.h"

#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>

namespace lumo {

struct DesktopReport {
    uint64_t sent = 0;  ///< pictures, each once
    uint64_t bytes = 0;
    uint64_t repeated = 0;
    uint64_t skipped = 0;    ///< a newer one came before anybody could show it
    uint64_t unchanged = 0;  ///< the same bytes as the picture before
    size_t viewers = 0;      ///< that have been heard lately
};

struct ViewerPointer {
    uint64_t viewer = 0;
    uint16_t x = 0;
    uint16_t y = 0;
};

/// Without clock or network. One thread.
class CDesktopPublisher {
public:
    using Out = std::function<void(const std::string& frame)>;
    using OnPointer = std::function<void(const ViewerPointer& pointer)>;

    CDesktopPublisher(Out out, OnPointer pointer, uint32_t stream);

    /// What the screen shows now. It waits until the slowest viewer can take it; the next one takes its place.
    void Offer(Picture picture, uint64_t nowMs, uint64_t wallUs);
    /// Bytes that came from upstream, hostile or not.
    void OnReport(const char* data, size_t length, uint64_t nowMs);
    /// The way to the viewers is new: what was in flight may be lost.
    void OnNewPath(uint64_t nowMs);
    /// Sends what may leave now.
    void Poll(uint64_t nowMs, uint64_t wallUs);
    /// Everybody who can be waited for has shown the last picture.
    bool Settled(uint64_t nowMs) const;
    /// Tells viewers that no more will come.
    void SayGoodbye(uint64_t wallUs);
    DesktopReport Report(uint64_t nowMs) const;

    static constexpr uint32_t kAhead = 2;             ///< pictures in flight: one travels, one is being shown
    static constexpr uint64_t kSilentMs = 5000;       ///< a viewer silent for so long does not hold the pace
    static constexpr uint64_t kStuckMs = 30000;       ///< nor does one that shows nothing for so long
    static constexpr uint64_t kRepeatMs = 30000;      ///< the last picture is repeated so often at least
    static constexpr uint64_t kRepeatForNewMs = 500;  ///< and for newcomers no faster than this
    static constexpr uint64_t kHereMs = 1000;
    static constexpr size_t kMaxViewers = 1000;  ///< further ones see the pictures too, but cannot hold the pace

private:
    struct Viewer {
        uint32_t asking = 0;
        uint32_t shown = 0;  // sequence; what was sent before it came counts as shown
        uint64_t heardMs = 0;
        uint64_t movedMs = 0;  // when it had everything, or showed something, last
        uint16_t x = ViewReport::kNowhere;
        uint16_t y = ViewReport::kNowhere;
    };
    struct Waiting {
        Picture picture;
        uint64_t takenUs;
    };

    bool Counts(const Viewer& viewer, uint64_t nowMs) const;
    bool MaySend(uint64_t nowMs) const;
    bool MayRepeat(uint64_t nowMs) const;
    Viewer* FindViewer(const ViewReport& report, uint64_t nowMs);
    void NotePointer(Viewer& viewer, const ViewReport& report);
    void SendPicture(DesktopKind kind, uint64_t nowMs);
    void SendBare(DesktopKind kind, uint64_t wallUs);

    const Out m_out;
    const OnPointer m_pointer;
    const uint32_t m_ulStream;
    std::map<uint64_t, Viewer> m_viewers;
    std::optional<Waiting> m_waiting;  // not sent yet
    Picture m_picture;                 // sent last
    DesktopHead m_head;                // and its head
    bool m_bWanted = false;            // somebody lacks it
    std::optional<uint64_t> m_sentMs;  // when a picture left last
    uint64_t m_ullSpokenMs = 0;        // when anything did
    DesktopReport m_report;
};

}  // namespace lumo
