// Puts the frames of an audio channel in order again, fills what is lost, and keeps account.
#pragma once

#include "tools/lumo/media/audio_frame.h"
#include "tools/lumo/media/delays.h"
#include "tools/lumo/media/ogg_opus_writer.h"

#include <cstdint>
#include <map>
#include <optional>
#include <string>

namespace lumo {

struct AudioReport {
    uint64_t packets = 0;  ///< that came, each once
    uint64_t bytes = 0;    ///< of these, without their head
    uint64_t lost = 0;
    double lostPercent = 0;  ///< of all that were published meanwhile
    uint64_t late = 0;       ///< came when they had been given up, or twice
    double jitterMs = 0;     ///< RFC 3550's estimate
    double delayP50Ms = 0;   ///< of the last packets; meaningful where both clocks are one
    double delayP99Ms = 0;
};

/// Without clock or network. One thread.
class CAudioRecorder {
public:
    /// `writer` may be null.
    explicit CAudioRecorder(COggOpusWriter* writer) : m_pWriter(writer) {}

    /// A frame as it came, at that time in microseconds since 1970. False when it is none of ours.
    bool OnFrame(const char* data, size_t length, uint64_t nowUs);
    /// Gives up what is missing for too long.
    void Tick(uint64_t nowUs);
    /// Writes out what waits.
    void Finish();
    /// The publisher has said its goodbye.
    bool Ended() const { return m_bEnded; }
    AudioReport Report() const;

    static constexpr uint64_t kPatienceUs = 200000;  ///< for a packet that others have overtaken
    static constexpr size_t kMaxHeld = 64;           ///< packets that wait for one before them

private:
    static constexpr uint32_t kMostJump = 3000;          // a minute; more is a publisher that began anew
    static constexpr uint64_t kSentLaterUs = 1000000;    // than everything before: no network brings it so
    static constexpr size_t kMaxHeadless = 256;          // packets that wait for the heads, which come every 2 s
    static constexpr size_t kShortestHead = 19;          // of an Ogg Opus stream
    static constexpr uint64_t kMostFilled = 10 * 48000;  // samples

    struct Held {
        std::string packet;
        uint64_t granule;
        uint64_t sinceUs;
    };
    void OnControl(const AudioFrame& frame);
    /// Whether it is of another publisher, or of one that was started again.
    bool IsAnew(const AudioFrame& frame) const;
    void BeginAnew(uint32_t sequence);
    void OnPacket(AudioFrame&& frame, uint64_t nowUs);
    void Measure(const AudioFrame& frame, uint64_t nowUs);
    void TakeReady();
    void SkipToHeld();
    void Take(const Held& held);
    void Fill(uint64_t begin);

    COggOpusWriter* const m_pWriter;
    std::string m_strHead;
    std::string m_strTags;
    std::optional<uint32_t> m_next;   // sequence of the packet to write next
    std::map<uint32_t, Held> m_held;  // by sequence, which may wrap
    std::string m_strLast;            // the packet written last
    uint64_t m_ullPosition = 0;       // of its end, as published
    uint64_t m_ullWritten = 0;        // of its end, in the file
    uint64_t m_ullNewestUs = 0;       // when the packet that was sent last was sent
    std::optional<int64_t> m_transit;
    double m_dJitterUs = 0;
    CDelays m_delays;
    AudioReport m_report;
    bool m_bEnded = false;
};

}  // namespace lumo
