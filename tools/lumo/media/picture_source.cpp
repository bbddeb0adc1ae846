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

bool CPictureFolder::Open(const std::string& path) {
    std::error_code error;
    for (fs::directory_iterator entry(path, error), end; !error && entry != end; entry.increment(error)) {
        if (IsPictureName(entry->path()) && entry->is_regular_file(error)) m_files.push_back(entry->path().string());
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

uint64_t CPictureFolder::DueMs() const {
    return m_startMs.value_or(0) + static_cast<uint64_t>(static_cast<double>(m_ullNext) * 1000 / m_dFps);
}

uint64_t CPictureFolder::WaitMs(uint64_t nowMs) const {
    const uint64_t due = DueMs();
    return due > nowMs ? due - nowMs : 0;
}

IPictureSource::State CPictureFolder::Fetch(uint64_t nowMs, Picture& picture) {
    if (!m_startMs) m_startMs = nowMs;
    if (nowMs < DueMs()) return State::Wait;
    if (m_ullNext >= m_files.size() && !m_bLoop) return State::End;
    if (!Load(m_files[m_ullNext % m_files.size()], picture)) return State::Failed;
    ++m_ullNext;
    return State::Picture;
}

CPictureStream::CPictureStream(Read read, int fd)
    : m_read(std::move(read)), m_nFd(fd), m_splitter(kMaxPicture), m_piece(kPiece) {}

uint64_t CPictureStream::WaitMs(uint64_t) const { return m_bEnd ? 0 : kIdleMs; }

IPictureSource::State CPictureStream::Fetch(uint64_t, Picture& picture) {
    while (!m_splitter.Next(picture.bytes)) {
        if (m_bEnd) {
            if (!m_bAny) m_strProblem = "no JPEG picture came";
            return m_bAny ? State::End : State::Failed;
        }
        const ssize_t got = m_read(m_piece.data(), m_piece.size());
        if (got < 0) return State::Wait;
        if (got > 0) m_splitter.Feed(m_piece.data(), static_cast<size_t>(got));
        m_bEnd = got == 0;
    }
    m_bAny = true;
    picture.format = PictureFormat::Jpeg;
    return State::Picture;
}

}  // namespace lumo
