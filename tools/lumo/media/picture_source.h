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

/// Tells when the next picture may be taken. One thread.
class CPicturePace {
public:
    /// Pictures a second; 0: each as soon as it is there.
    explicit CPicturePace(double fps) : m_dFps(fps) {}
    uint64_t WaitMs(uint64_t nowMs);
    void Took() { ++m_ullTaken; }

private:
    const double m_dFps;
    std::optional<uint64_t> m_startMs;
    uint64_t m_ullTaken = 0;
};

/// One thread.
class IPictureSource {
public:
    enum class State { Picture, Wait, End, Failed };

    virtual ~IPictureSource() = default;
    /// The next picture, when there is one at that time.
    virtual State Fetch(uint64_t nowMs, Picture& picture) = 0;
    /// For so long there is none, unless Fd() becomes readable.
    virtual uint64_t WaitMs(uint64_t nowMs) = 0;
    virtual int Fd() const { return -1; }
    /// What did not fit, for the account.
    virtual uint64_t Skipped() const { return 0; }
    virtual const std::string& Problem() const = 0;
};

/// The PNG and JPEG files of a directory in the order of their names, at a steady pace.
class CPictureFolder final : public IPictureSource {
public:
    CPictureFolder(double fps, bool loop) : m_pace(fps), m_bLoop(loop) {}
    /// False, with the problem, when there is no picture in it.
    bool Open(const std::string& path);

    State Fetch(uint64_t nowMs, Picture& picture) override;
    uint64_t WaitMs(uint64_t nowMs) override;
    const std::string& Problem() const override { return m_strProblem; }

private:
    bool Load(const std::string& path, Picture& picture);

    CPicturePace m_pace;
    const bool m_bLoop;
    std::vector<std::string> m_files;
    size_t m_nNext = 0;
    std::string m_strProblem;
};

/// JPEG pictures that follow one another in a stream.
class CPictureStream final : public IPictureSource {
public:
    /// Bytes that are there now: 0 at the end, -1 when there are none yet.
    using Read = std::function<ssize_t(char* buffer, size_t size)>;
    CPictureStream(Read read, int fd, double fps);

    State Fetch(uint64_t nowMs, Picture& picture) override;
    uint64_t WaitMs(uint64_t nowMs) override;
    int Fd() const override { return m_bHungry ? m_nFd : -1; }
    uint64_t Skipped() const override { return m_splitter.Skipped(); }
    const std::string& Problem() const override { return m_strProblem; }

private:
    const Read m_read;
    const int m_nFd;
    CJpegSplitter m_splitter;
    std::vector<char> m_piece;
    CPicturePace m_pace;
    bool m_bHungry = false;  // waits for bytes
    bool m_bEnd = false;
    bool m_bAny = false;
    std::string m_strProblem;
};

}  // namespace lumo
