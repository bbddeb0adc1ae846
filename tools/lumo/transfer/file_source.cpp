#include "tools/lumo/transfer/file_source.h"

#include "tools/lumo/transfer/error_text.h"
#include "tools/lumo/transfer/tree_path.h"

#include <cerrno>
#include <vector>

namespace lumo {

CFileSource::CFileSource(CFileDescriptor fd, std::string name) : m_fd(std::move(fd)), m_strName(std::move(name)) {}

CFileSource::CFileSource(Opener opener, std::string name)
    : m_fd(opener()), m_opener(std::move(opener)), m_strName(std::move(name)) {}

EntryTraits TraitsOf(EntryKind kind, const struct stat& found) {
    EntryTraits traits;
    traits.kind = kind;
    traits.executable = kind == EntryKind::File && (found.st_mode & S_IXUSR) != 0;
    traits.dated = true;
    traits.seconds = found.st_mtim.tv_sec;
    traits.nanoseconds = static_cast<uint32_t>(found.st_mtim.tv_nsec);
    return traits;
}

bool CFileSource::IsOpen() {
    if (!m_fd && m_opener) m_fd = m_opener();
    if (!m_fd && m_strProblem.empty()) m_strProblem = ErrorText(errno);
    return static_cast<bool>(m_fd);
}

bool CFileSource::Open(std::string& problem) {
    const std::string nameProblem = PathProblem(m_strName);
    if (!IsOpen()) {
        problem = m_strProblem;
    } else if (!nameProblem.empty()) {
        problem = "receivers would refuse the name: " + nameProblem;
    } else if (fstat(m_fd.Get(), &m_opened) != 0) {
        problem = ErrorText(errno);
    } else if (!S_ISREG(m_opened.st_mode)) {
        problem = "it is not a regular file";
    } else if (static_cast<uint64_t>(m_opened.st_size) > kMaxFileSize) {
        problem = "it is larger than 16 TiB";
    } else {
        m_ullSize = static_cast<uint64_t>(m_opened.st_size);
        m_traits = TraitsOf(EntryKind::File, m_opened);
        return true;
    }
    return false;
}

bool CFileSource::HashStep() {
    if (m_bDigest || !m_strProblem.empty()) return m_bDigest;
    std::vector<char> buffer(kBlockSize);
    for (uint32_t step = 0; step < kHashStep && m_ullHashed < m_ullSize; step += kBlockSize) {
        const size_t length = static_cast<size_t>(std::min<uint64_t>(kBlockSize, m_ullSize - m_ullHashed));
        if (!ReadAt(m_ullHashed, buffer.data(), length)) return false;
        m_hash.Add(buffer.data(), length);
        m_ullHashed += length;
    }
    if (m_ullHashed < m_ullSize || !IsUnchanged()) return false;
    m_bDigest = m_hash.Finish(m_digest);
    if (!m_bDigest) m_strProblem = "its SHA-256 cannot be computed";
    return m_bDigest;
}

bool CFileSource::Read(uint32_t block, char* buffer) {
    return ReadAt(uint64_t{block} * kBlockSize, buffer, BlockLength(m_ullSize, block)) && IsUnchanged();
}

bool CFileSource::ReadAt(uint64_t offset, char* buffer, size_t length) {
    if (!IsOpen()) return false;
    for (size_t done = 0; done < length;) {
        const ssize_t got = pread(m_fd.Get(), buffer + done, length - done, static_cast<off_t>(offset + done));
        if (got < 0 && errno == EINTR) continue;
        if (got <= 0) {
            m_strProblem = got < 0 ? ErrorText(errno) : "it has become shorter";
            return false;
        }
        done += static_cast<size_t>(got);
    }
    return true;
}

bool CFileSource::IsUnchanged() {
    struct stat now {};
    if (!IsOpen()) return false;
    if (fstat(m_fd.Get(), &now) == 0 && now.st_size == m_opened.st_size &&
        now.st_mtim.tv_sec == m_opened.st_mtim.tv_sec && now.st_mtim.tv_nsec == m_opened.st_mtim.tv_nsec)
        return true;
    m_strProblem = "it has changed while it was sent";
    return false;
}

}  // namespace lumo
