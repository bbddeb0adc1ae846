// A spoken sample for `lumo load audio`: the frames that `lumo publish audio` would make of it, over and over.
#pragma once

#include "tools/lumo/media/audio_publisher.h"

#include <cstdint>
#include <optional>
#include <string>

namespace lumo {

/// Without clock or network. One thread, but for Read.
class CLoadSample {
public:
    /// What a frame tells who counts it.
    struct Mark {
        uint32_t number;  ///< from 1; 0: a head of the stream
        uint64_t sentUs;
    };
    struct Size {
        uint32_t frames = 0;
        uint32_t bytes = 0;  ///< of a frame, on the average
    };

    /// `stream` outlives it.
    CLoadSample(const std::string& stream, CAudioPublisher::Out out)
        : m_strStream(stream), m_publisher(std::move(out)) {}

    /// When the next packet shall leave; nothing when there is none, and why.
    std::optional<uint64_t> DueMs(uint64_t nowMs);
    /// Sends that packet, marked with the time by the clock that both ends share.
    void Send(uint64_t nowMs, uint64_t clockUs) { m_publisher.Send(nowMs, clockUs); }
    const std::string& Problem() const { return m_publisher.Problem(); }

    /// A whole file; empty, with the problem, when it cannot be read.
    static std::string Load(const std::string& path, std::string& problem);
    /// What goes out in so many seconds; no frames, with the problem, when the stream is none.
    static Size Measure(const std::string& stream, double seconds, std::string& problem);
    /// Nothing of frames that are something else. Any thread.
    static std::optional<Mark> Read(const char* data, int length);

private:
    const std::string& m_strStream;
    CAudioPublisher m_publisher;
};

}  // namespace lumo
