// Makes the frames of a video channel out of an H.264 byte stream.
#pragma once

#include "tools/lumo/media/annexb_reader.h"
#include "tools/lumo/media/fetch_state.h"
#include "tools/lumo/media/parameter_sets.h"
#include "tools/lumo/media/video_index.h"

#include <cstdint>
#include <functional>
#include <optional>
#include <string>

namespace lumo {

/// Without clock or network: who owns it sends each access unit when it is due. One thread.
class CVideoPublisher {
public:
    using State = FetchState;
    /// May write another number into the frame: the next one follows it.
    using Out = std::function<void(std::string& frame)>;

    explicit CVideoPublisher(Out out) : m_out(std::move(out)) {}

    /// Frames a second; 0: each as soon as it is there.
    void SetRate(double fps) { m_dGapMs = fps > 0 ? 1000 / fps : 0; }
    /// With it requests for a key frame are served at once, without it by the next one that comes.
    void SetIndex(VideoIndex index, bool loop);
    void Feed(const char* data, size_t length) { m_reader.Feed(data, length); }
    void Finish() { m_reader.Finish(); }
    /// The same stream comes once more from its beginning.
    void Rewind() { Restart(0, 0); }
    void RequestKeyFrame();

    /// Looks for the next unit.
    State Fetch(uint64_t nowMs);
    /// The byte at which the input goes on.
    uint64_t GoOnAt() const { return m_ullGoOnAt; }
    /// When the unit that is ready shall leave.
    uint64_t DueMs() const { return static_cast<uint64_t>(m_dDueMs.value_or(0)); }
    void Send(uint64_t nowMs);
    /// Tells subscribers that no more will come.
    void SayGoodbye();

    uint64_t Frames() const { return m_ullFrames; }
    uint64_t KeyFrames() const { return m_ullKeyFrames; }
    uint64_t Bytes() const { return m_ullBytes; }
    uint64_t Requests() const { return m_ullRequests; }
    uint64_t EmptyNals() const { return m_ullEmptyNals + m_reader.EmptyNals(); }
    const std::string& Problem() const { return m_strProblem; }

    static constexpr uint64_t kMergeMs = 200;  ///< requests so soon after a key frame wait
    static constexpr uint64_t kLateMs = 1000;  ///< an input that is further behind is not caught up with

private:
    void Restart(uint64_t offset, uint64_t number);
    bool GoesElsewhere(uint64_t nowMs);
    const VideoIndex::Key* Where() const;
    State Take(uint64_t nowMs);
    void Publish(std::string frame);

    const Out m_out;
    double m_dGapMs = 40;
    std::optional<VideoIndex> m_index;
    bool m_bLoop = false;
    CAnnexBReader m_reader;
    CParameterSets m_parameters;
    AccessUnit m_unit;  // ready to leave
    bool m_bReady = false;
    uint64_t m_ullNumber = 0;  // in the stream, of the unit that is ready or comes next
    bool m_bBegun = false;     // a key frame has been sent
    bool m_bKeyWanted = false;
    std::optional<uint64_t> m_keyMs;     // when the last key frame left
    std::optional<uint64_t> m_backFrom;  // the unit before which it went back last
    uint64_t m_ullGoOnAt = 0;
    std::optional<double> m_dDueMs;
    uint16_t m_usSequence = 0;
    uint64_t m_ullFrames = 0, m_ullKeyFrames = 0, m_ullBytes = 0, m_ullRequests = 0;
    uint64_t m_ullEmptyNals = 0;  // of the rounds before
    std::string m_strProblem;
};

}  // namespace lumo
