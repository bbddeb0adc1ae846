#include "tools/lumo/media/stream_files.h"

#include "tools/lumo/transfer/error_text.h"
#include "tools/lumo/transfer/file_name.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

namespace lumo {

bool CStreamInput::Open(const std::string& path, std::string& problem) {
    if (path != "-") {
        m_owned = CFileDescriptor(open(path.c_str(), O_RDONLY | O_CLOEXEC));
        if (!m_owned) problem = path + ": " + ErrorText(errno);
    }
    m_nFd = path == "-" ? STDIN_FILENO : m_owned.Get();
    m_strName = path == "-" ? "standard input" : path;
    struct stat about {};
    if (problem.empty() && fstat(m_nFd, &about) == 0 && S_ISDIR(about.st_mode))
        problem = "cannot read " + m_strName + ": " + ErrorText(EISDIR);
    return problem.empty();
}

// Others may read the same standard input: what was ready can be gone.
ssize_t CStreamInput::Read(char* buffer, size_t size) {
    pollfd ready{m_nFd, POLLIN, 0};
    if (poll(&ready, 1, 0) <= 0) return -1;
    const ssize_t got = read(m_nFd, buffer, size);
    if (got >= 0) return got;
    if (errno == EAGAIN || errno == EINTR) return -1;
    m_strProblem = "cannot read " + m_strName + ": " + ErrorText(errno);
    return 0;
}

bool CStreamInput::Seek(uint64_t offset) const { return lseek(m_nFd, static_cast<off_t>(offset), SEEK_SET) >= 0; }

bool CStreamInput::IsFile() const {
    struct stat about {};
    return fstat(m_nFd, &about) == 0 && S_ISREG(about.st_mode);
}

CStreamOutput::~CStreamOutput() {
    if (!m_pFile || m_pFile == stdout) return;
    static_cast<void>(std::fclose(m_pFile));
    if (!m_bBegun && !m_strMade.empty()) unlink(m_strMade.c_str());
}

bool CStreamOutput::Open(const std::string& path, std::string& problem) {
    constexpr mode_t kMode = 0666;
    m_pFile = stdout;
    if (path == "-") return true;
    CFileDescriptor file(open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, kMode));
    if (file)
        m_strMade = path;
    else
        file = CFileDescriptor(open(path.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, kMode));
    m_pFile = file ? fdopen(file.Get(), "wb") : nullptr;
    if (m_pFile)
        file.Take();
    else
        problem = path + ": " + ErrorText(errno);
    return m_pFile != nullptr;
}

void CStreamOutput::Begin() {
    if (m_bBegun || !m_pFile) return;
    m_bBegun = true;
    if (m_pFile == stdout) return;
    [[maybe_unused]] const int result = ftruncate(fileno(m_pFile), 0);  // a pipe has nothing to lose
}

}  // namespace lumo
