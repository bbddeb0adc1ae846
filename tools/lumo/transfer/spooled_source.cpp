#include "tools/lumo/transfer/spooled_source.h"

#include "tools/lumo/transfer/error_text.h"

#include <poll.h>

#include <cerrno>
#include <vector>

namespace lumo {

CSpooledSource::CSpooledSource(int input, CFileDescriptor spool, std::string name)
    : m_nInput(input), m_spool(std::move(spool)), m_strName(std::move(name)) {}

bool CSpooledSource::HashStep() {
    std::vector<char> buffer(kBlockSize);
    for (uint32_t step = 0; step < kHashStep && !m_bDigest && m_strProblem.empty();) {
        pollfd wait{m_nInput, POLLIN, 0};
        if (poll(&wait, 1, step == 0 ? kWaitMs : 0) == 0) return false;
        const ssize_t got = read(m_nInput, buffer.data(), buffer.size());
        if (got < 0 && (errno == EINTR || errno == EAGAIN)) return false;
        if (got < 0) {
            m_strProblem = "cannot read standard input: " + ErrorText(errno);
        } else if (got == 0) {
            m_bDigest = m_hash.Finish(m_digest);
            if (!m_bDigest) m_strProblem = "its SHA-256 cannot be computed";
        } else if (Append(buffer.data(), static_cast<size_t>(got))) {
            step += static_cast<uint32_t>(got);
        }
    }
    return m_bDigest;
}

bool CSpooledSource::Append(const char* data, size_t length) {
    if (length > kMaxFileSize - m_ullSize) {
        m_strProblem = "it is larger than 16 TiB";
        return false;
    }
    m_hash.Add(data, length);
    while (length > 0) {
        const ssize_t put = write(m_spool.Get(), data, length);
        if (put < 0 && errno == EINTR) continue;
        if (put <= 0) {
            m_strProblem = "cannot spool standard input: " + ErrorText(errno);
            return false;
        }
        data += put;
        length -= static_cast<size_t>(put);
        m_ullSize += static_cast<uint64_t>(put);
    }
    return true;
}

bool CSpooledSource::Read(uint32_t block, char* buffer) {
    const uint32_t length = BlockLength(m_ullSize, block);
    for (uint32_t done = 0; done < length;) {
        const off_t offset = static_cast<off_t>(uint64_t{block} * kBlockSize + done);
        const ssize_t got = pread(m_spool.Get(), buffer + done, length - done, offset);
        if (got < 0 && errno == EINTR) continue;
        if (got <= 0) {
            m_strProblem = "cannot read the spool file: " + ErrorText(errno);
            return false;
        }
        done += static_cast<uint32_t>(got);
    }
    return true;
}

}  // namespace lumo
