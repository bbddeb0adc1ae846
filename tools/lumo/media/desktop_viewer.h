// Takes the frames of a desktop channel, hands out the pictures, and says what has been shown.
#pragma once

#include "tools/lumo/media/delays.h"
#include "tools/lumo/media/desktop_frame.h"

#include <cstdint>
#include <string>

namespace lumo {

struct ViewerReport {
    uint64_t pictures = 0;  ///< shown, each once
    uint64_t bytes = 0;
    uint64_t asked = 0;     ///< how often the publisher's picture was lacking
    uint64_t foreign = 0;   ///< frames that are none of ours
    double delayP50Ms = 0;  ///< from taking a picture to showing it; meaningful where both clocks are one
    double delayP99Ms = 0;
};

/// Without clock or network. One thread.
class CDesktopViewer {
public:
    enum class Take {
        Foreign,  ///< none of ours
        Nothing,  ///< a sign of life
        Picture,  ///< show it, then call OnShown
    };

    explicit CDesktopViewer(uint64_t viewerID) { m_say.viewer = viewerID; }

    Take OnFrame(const char* data, size_t length, Picture& picture);
    void OnShown(uint64_t wallUs);
    /// The way to the publisher is new.
    void OnNewPath();
    void SetPointer(uint16_t x, uint16_t y);
    /// What to send upstream now; false when nothing is due.
    bool Speak(uint64_t nowMs, std::string& frame);
    /// When Speak will have something, however quiet it is.
    uint64_t SpeakDueMs(uint64_t nowMs) const;
    /// What to send upstream at the end, so that nobody waits for this viewer.
    std::string Leave();
    /// The publisher has said its goodbye.
    bool Ended() const { return m_bEnded; }
    ViewerReport Report() const;

    static constexpr uint64_t kSpeakMs = 1000;
    static constexpr uint64_t kPointerMs = 20;

private:
    void TakeBare(const DesktopHead& head);
    void Ask();

    ViewReport m_say;
    DesktopHead m_last;      // of the frame with a picture that came last
    size_t m_nBytes = 0;     // of the picture that is being shown
    uint32_t m_ulShown = 0;  // number of the picture shown last, in m_say.stream
    bool m_bDue = false;
    bool m_bMoved = false;
    bool m_bEnded = false;
    uint64_t m_ullSpokenMs = 0;
    CDelays m_delays;
    ViewerReport m_report;
};

}  // namespace lumo
