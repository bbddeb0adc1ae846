// Writes the frames of a video channel as a stream that decodes, and keeps account.
#pragma once

#include "tools/lumo/media/video_frame.h"

#include <cstdint>
#include <cstdio>
#include <deque>
#include <optional>

namespace lumo {

struct VideoReport {
    uint64_t frames = 0;  ///< that can be decoded
    uint64_t keyFrames = 0;
    uint64_t bytes = 0;    ///< of these, without their head
    uint64_t skipped = 0;  ///< numbers left out before a key frame: what a lagging link has dropped
    uint64_t useless = 0;  ///< came without what they build upon
    uint64_t requests = 0;
};

/// Without clock or network. Frames may come by two ways at once: each is taken once, by its number. One thread.
class CVideoRecorder {
public:
    /// `file` is where to write; null: nowhere.
    explicit CVideoRecorder(std::FILE* file) : m_pFile(file) {}

    /// False when the frame is none of ours.
    bool OnFrame(const char* data, size_t length, uint64_t nowMs);
    /// Whether a key frame is to be asked for now; to be asked about often.
    bool KeyFrameDue(uint64_t nowMs);
    /// The publisher has said its goodbye.
    bool Ended() const { return m_bEnded; }
    /// The errno of what could not be written; 0 when all could.
    int Error() const { return m_nError; }
    const VideoReport& Report() const { return m_report; }

    static constexpr uint64_t kPatienceMs = 300;  ///< a key frame may be on its way without being asked for
    static constexpr uint64_t kAskAgainMs = 1000;

private:
    static constexpr size_t kKnown = 128;           // two ways are never further apart
    static constexpr uint16_t kMostSkipped = 3000;  // more is a publisher that began anew

    struct Known {
        uint16_t sequence;
        size_t hash;
    };
    bool IsKnown(const Known& frame) const;
    void Take(const VideoFrame& frame, const Known& known);

    std::FILE* const m_pFile;
    std::deque<Known> m_known;            // the frames taken last
    std::optional<uint64_t> m_missingMs;  // since when nothing that comes can be decoded
    std::optional<uint64_t> m_askedMs;
    bool m_bEnded = false;
    int m_nError = 0;
    VideoReport m_report;
};

}  // namespace lumo
