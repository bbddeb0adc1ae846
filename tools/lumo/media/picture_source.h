// Where the pictures of a published screen come from.
#pragma once

#include "tools/lumo/media/jpeg_splitter.h"
#include "tools/lumo/media/picture.h"

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace lumo {

/// One thread.
class IPictureSource {
public:
    enum class State { Picture, Wait, End, Failed };

    virtual ~IPictureSource() = default;
    /// The next picture, when there is one at that time.
    virtual State Fetch(uint64_t nowMs, Picture& picture) = 0;
    /// For so long there is none, unless Fd() becomes readable.
    virtual uint64_t WaitMs(uint64_t nowMs) const = 0;
    virtual int Fd() const { return -1; }
    /// What did not fit, for the account.
    virtual uint64_t Skipped() const { return 0; }
    virtual const std::string& Problem() const = 0;
};

/// The PNG and JPEG files of a directory in the order of their names, at a steady pace.
class CPictureFolder final : public IPictureSource {
public:
    CPictureFolder(double fps, bool loop) : m_dFps(fps), m_bLoop(loop) {}
    /// False, with the problem, when there is no picture in it.
    bool Open(const std::string& path);

    State Fetch(uint64_t nowMs, Picture& picture) override;
    uint64_t WaitMs(uint64_t nowMs) const override;
    const std::string& Problem() const override { return m_strProblem; }

private:
    uint64_t DueMs() const;
    bool Load(const std::string& path, Picture& picture);

    const double m_dFps;
    const bool m_bLoop;
    std::vector<std::string> m_files;
    uint64_t m_ullNext = 0;  // counts on when it begins again
    std::optional<uint64_t> m_startMs;
    std::string m_strProblem;
};

/// JPEG pictures that follow one another in a stream, as they come.
class CPictureStream final : public IPictureSource {
public:
    /// Bytes that are there now: 0 at the end, -1 when there are none yet.
    using Read = std::function<ssize_t(char* buffer, size_t size)>;
    CPictureStream(Read read, int fd);

    State Fetch(uint64_t nowMs, Picture& picture) override;
    uint64_t WaitMs(uint64_t nowMs) const override;
    int Fd() const override { return m_bEnd ? -1 : m_nFd; }
    uint64_t Skipped() const override { return m_splitter.Skipped(); }
    const std::string& Problem() const override { return m_strProblem; }

private:
    const Read m_read;
    const int m_nFd;
    CJpegSplitter m_splitter;
    std::vector<char> m_piece;
    bool m_bEnd = false;
    bool m_bAny = false;
    std::string m_strProblem;
};

}  // namespace lumo
