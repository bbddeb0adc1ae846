#include "tools/lumo/load/load_sample.h"

#include "tools/lumo/media/stream_files.h"

#include <poll.h>

#include <array>

namespace lumo {

std::optional<uint64_t> CLoadSample::DueMs(uint64_t nowMs) {
    for (;;) {
        switch (m_publisher.Fetch(nowMs)) {
            case FetchState::Ready:
                return m_publisher.DueMs();
            case FetchState::NeedMore:
                m_publisher.Feed(m_strStream.data(), m_strStream.size());
                m_publisher.Finish();
                break;
            case FetchState::End:
                m_publisher.Rewind();
                break;
            case FetchState::GoOn:
            case FetchState::Failed:
                return std::nullopt;
        }
    }
}

std::string CLoadSample::Load(const std::string& path, std::string& problem) {
    CStreamInput input;
    std::string stream;
    if (!input.Open(path, problem)) return stream;
    std::array<char, 65536> piece;
    for (ssize_t got = 1; got != 0;) {
        got = input.Read(piece.data(), piece.size());
        if (got > 0) stream.append(piece.data(), static_cast<size_t>(got));
        pollfd more{input.Fd(), POLLIN, 0};
        if (got < 0) poll(&more, 1, -1);
    }
    problem = input.Problem();
    return stream;
}

CLoadSample::Size CLoadSample::Measure(const std::string& stream, double seconds, std::string& problem) {
    Size size;
    uint64_t bytes = 0, now = 0;
    CLoadSample sample(stream, [&](const std::string& frame) {
        if (Read(frame.data(), static_cast<int>(frame.size())).value_or(Mark()).number == 0) return;
        ++size.frames;
        bytes += frame.size();
    });
    for (auto due = sample.DueMs(now); due && static_cast<double>(*due) < seconds * 1000; due = sample.DueMs(now)) {
        now = *due;
        sample.Send(now, 0);
    }
    problem = sample.Problem();
    if (!problem.empty()) return {};
    if (size.frames > 0) size.bytes = static_cast<uint32_t>(bytes / size.frames);
    return size;
}

std::optional<CLoadSample::Mark> CLoadSample::Read(const char* data, int length) {
    AudioFrame frame;
    if (!Decode(data, static_cast<size_t>(length), frame)) return std::nullopt;
    return Mark{frame.IsControl() ? 0 : frame.sequence + 1, frame.sentUs};
}

}  // namespace lumo
