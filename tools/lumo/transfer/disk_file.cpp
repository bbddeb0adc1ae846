#include "tools/lumo/transfer/disk_file.h"

#include "tools/lumo/transfer/error_text.h"
#include "tools/lumo/transfer/own_file.h"

#include <cerrno>

namespace lumo {

CDiskFile::CDiskFile(CFileDescriptor fd, const Offer& offer)
    : m_fd(std::move(fd)), m_offer(offer), m_have(BlocksOf(offer.size)) {}

bool CDiskFile::Fail(Failure failure, const std::string& problem) {
    m_failure = failure;
    m_strProblem = problem;
    return false;
}

bool CDiskFile::FailErrno(const char* what) {
    const int error = errno;
    return Fail(FailureOf(error), std::string(what) + ": " + ErrorText(error));
}

bool CDiskFile::Write(uint32_t block, const char* data, uint32_t length, uint64_t) {
    const uint64_t offset = uint64_t{block} * kBlockSize;
    for (uint32_t done = 0; done < length;) {
        const ssize_t put = pwrite(Fd(), data + done, length - done, static_cast<off_t>(offset + done));
        if (put < 0 && errno == EINTR) continue;
        if (put <= 0) return FailErrno("cannot write");
        done += static_cast<uint32_t>(put);
    }
    m_have.Set(block);
    return true;
}

bool CDiskFile::ReadBlock(uint32_t block, std::vector<char>& data) {
    data.resize(BlockLength(m_offer.size, block));
    for (size_t done = 0; done < data.size();) {
        const off_t offset = static_cast<off_t>(uint64_t{block} * kBlockSize + done);
        const ssize_t got = pread(Fd(), data.data() + done, data.size() - done, offset);
        if (got < 0 && errno == EINTR) continue;
        if (got < 0) return FailErrno("cannot read back");
        if (got == 0) return Fail(Failure::Disk, "cannot read back: it has become shorter");
        done += static_cast<size_t>(got);
    }
    return true;
}

StoreStep CDiskFile::Verify() {
    std::vector<char> data;
    for (uint32_t step = 0; step < kHashStep && m_nVerified < m_have.Blocks(); step += kBlockSize, ++m_nVerified) {
        if (!ReadBlock(m_nVerified, data)) return StoreStep::Broken;
        m_hash.Add(data.data(), data.size());
    }
    if (m_nVerified < m_have.Blocks()) return StoreStep::More;
    Digest digest;
    const bool finished = m_hash.Finish(digest);
    m_hash.Restart();
    m_nVerified = 0;
    if (!finished) {
        Fail(Failure::Disk, "its SHA-256 cannot be computed");
        return StoreStep::Broken;
    }
    return digest == m_offer.sha256 ? StoreStep::Good : StoreStep::Bad;
}

StoreStep CDiskFile::Repair() {
    m_have.ClearAll();
    return StoreStep::Good;
}

bool CDiskFile::ReadNext(uint64_t& offset, std::vector<char>& piece) {
    if (offset >= m_offer.size || !ReadBlock(static_cast<uint32_t>(offset / kBlockSize), piece)) return false;
    offset += piece.size();
    return true;
}

CExistingFile::CExistingFile(CFileDescriptor fd, const Offer& offer) : CDiskFile(std::move(fd), offer) {
    for (uint32_t block = 0; block < Map().Blocks(); ++block) Map().Set(block);
}

StoreStep CExistingFile::Repair() {
    Fail(Failure::Exists, "it exists already with other content (--force replaces it)");
    return StoreStep::Broken;
}

}  // namespace lumo
