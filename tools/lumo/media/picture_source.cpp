#include "tools/lumo/media/picture_source.h"

#include "tools/lumo/media/desktop_frame.h"

#include <algorithm>
#include <cctype>
#include <filesystem>
#include <fstream>

namespace lumo {
namespace fs = std::filesystem;
namespace {

constexpr uint64_t kIdleMs = 50;
constexpr size_t kPiece = 256 * 1024;  // more than a pipe holds

bool IsPictureName(const fs::path& path) {
    std::string extension = path.extension().string();
    std::transform(extension.begin(), extension.end(), extension.begin(),
                   [](unsigned char letter) { return static_cast<char>(std::tolower(letter)); });
    return extension == ".png" || extension == ".jpg" || extension == ".jpeg";
}

}  // namespace

uint64_t CPicturePace::WaitMs(uint64_t nowMs) {
    if (m_dFps <= 0) return 0;
    if (!m_startMs) m_startMs = nowMs;
    const uint64_t due = *m_startMs + static_cast<uint64_t>(static_cast<double>(m_ullTaken) * 1000 / m_dFps);
    return due > nowMs ? due - nowMs : 0;
}

bool CPictureFolder::Open(const std::string& path) {
    std::error_code error, unreadable;  // one entry that leads nowhere does not spoil the others
    for (fs::directory_iterator entry(path, error), end; !error && entry != end; entry.increment(error)) {
        if (IsPictureName(entry->path()) && entry->is_regular_file(unreadable))
            m_files.push_back(entry->path().string());
    }
    std::sort(m_files.begin(), m_files.end());
    if (error)
        m_strProblem = path + ": " + error.message();
    else if (m_files.empty())
        m_strProblem = path + " holds no PNG or JPEG files";
    return m_strProblem.empty();
}

bool CPictureFolder::Load(const std::string& path, Picture& picture) {
    std::error_code error;
    const uintmax_t size = fs::file_size(path, error);
    if (!error && size > kMaxPicture) {
        m_strProblem = path + " has " + std::to_string(size) + " bytes, and a frame takes " +
                       std::to_string(kMaxPicture) + " at most";
        return false;
    }
    std::ifstream file(path, std::ios::binary);
    picture.bytes.resize(error ? 0 : static_cast<size_t>(size));
    file.read(picture.bytes.data(), static_cast<std::streamsize>(picture.bytes.size()));
    if (error || !file)
        m_strProblem = "cannot read " + path;
    else if ((picture.format = FormatOf(picture.bytes)) == PictureFormat::None)
        m_strProblem = path + " is no whole PNG or JPEG picture";
    return m_strProblem.empty();
}

uint64_t CPictureFolder::WaitMs(uint64_t nowMs) { return m_pace.WaitMs(nowMs); }

IPictureSource::State CPictureFolder::Fetch(uint64_t nowMs, Picture& picture) {
    if (WaitMs(nowMs) > 0) return State::Wait;
    if (m_nNext == m_files.size() && m_bLoop) m_nNext = 0;
    if (m_nNext == m_files.size()) return State::End;
    if (!Load(m_files[m_nNext++], picture)) return State::Failed;
    m_pace.Took();
    return State::Picture;
}

CPictureStream::CPictureStream(Read read, int fd, double fps)
    : m_read(std::move(read)), m_nFd(fd), m_splitter(kMaxPicture), m_piece(kPiece), m_pace(fps) {}

uint64_t CPictureStream::WaitMs(uint64_t nowMs) { return m_bHungry ? kIdleMs : m_pace.WaitMs(nowMs); }

IPictureSource::State CPictureStream::Fetch(uint64_t nowMs, Picture& picture) {
    m_bHungry = false;
    if (m_pace.WaitMs(nowMs) > 0) return State::Wait;
    while (!m_splitter.Next(picture.bytes)) {
        if (m_bEnd) {
            if (!m_bAny) m_strProblem = "no JPEG picture came";
            return m_bAny ? State::End : State::Failed;
        }
        const ssize_t got = m_read(m_piece.data(), m_piece.size());
        m_bHungry = got < 0;
        if (m_bHungry) return State::Wait;
        if (got > 0) m_splitter.Feed(m_piece.data(), static_cast<size_t>(got));
        m_bEnd = got == 0;
    }
    m_bAny = true;
    m_pace.Took();
    picture.format = PictureFormat::Jpeg;
    return State::Picture;
}

}  // namespace lumo
