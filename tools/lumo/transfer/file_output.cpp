#include "tools/lumo/transfer/file_output.h"

#include "tools/lumo/transfer/disk_file.h"
#include "tools/lumo/transfer/error_text.h"

#include <limits.h>
#include <poll.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>

namespace lumo {

CFileOutput::CFileOutput(int output) : m_nOutput(output), m_nAtOnce(PIPE_BUF) {
    struct stat opened {};
    if (fstat(output, &opened) == 0 && S_ISREG(opened.st_mode)) m_nAtOnce = kBlockSize;
}

bool CFileOutput::NextPiece(const std::vector<IncomingFile>& files, std::string& problem) {
    m_piece.clear();
    m_nWritten = 0;
    for (; m_nFile < files.size(); ++m_nFile, m_ullRead = 0) {
        auto* file = dynamic_cast<CDiskFile*>(files[m_nFile].store.get());
        if (file && file->ReadNext(m_ullRead, m_piece)) return true;
        if (file && m_ullRead == files[m_nFile].offer.size) continue;
        problem = file ? file->Problem() : "not a file";
        return false;
    }
    return false;
}

// Some file systems tell only on closing that what they took is lost.
bool CFileOutput::Finish(std::string& problem) const {
    const int copy = dup(m_nOutput);
    if (copy < 0 || close(copy) == 0 || errno == EINTR) return true;
    problem = "cannot write to standard output: " + ErrorText(errno);
    return false;
}

StoreStep CFileOutput::Step(const std::vector<IncomingFile>& files, std::string& problem) {
    for (size_t done = 0; done < kHashStep;) {
        if (m_nWritten == m_piece.size() && !NextPiece(files, problem))
            return problem.empty() && Finish(problem) ? StoreStep::Good : StoreStep::Broken;
        pollfd wait{m_nOutput, POLLOUT, 0};
        if (poll(&wait, 1, done == 0 ? kWaitMs : 0) == 0) break;
        const size_t length = std::min(m_nAtOnce, m_piece.size() - m_nWritten);
        const ssize_t put = write(m_nOutput, m_piece.data() + m_nWritten, length);
        if (put < 0 && (errno == EINTR || errno == EAGAIN)) break;
        if (put < 0) {
            problem = "cannot write to standard output: " + ErrorText(errno);
            return StoreStep::Broken;
        }
        m_nWritten += static_cast<size_t>(put);
        done += static_cast<size_t>(put);
    }
    return StoreStep::More;
}

}  // namespace lumo
