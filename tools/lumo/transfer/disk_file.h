// An open file of known size and SHA-256, compared with them a little at a time.
#pragma once

#include "platform/lumonet/file_descriptor.h"
#include "tools/lumo/transfer/file_store.h"
#include "tools/lumo/transfer/sha256.h"

#include <cstdint>
#include <string>
#include <vector>

namespace lumo {

/// A complete store where nothing is kept for later: reads and writes go to one descriptor.
class CDiskFile : public IFileStore {
public:
    CDiskFile(CFileDescriptor fd, const Offer& offer);

    const CBlockMap& Have() const override { return m_have; }
    bool Write(uint32_t block, const char* data, uint32_t length, uint64_t checksum) override;
    StoreStep Verify() override;
    StoreStep Repair() override;
    bool Commit() override { return true; }
    void Flush() override {}
    const std::string& Problem() const override { return m_strProblem; }
    Failure Reason() const override { return m_failure; }

    /// Everything in order, for copying it elsewhere; false at the end or on a failure.
    bool ReadNext(uint64_t& offset, std::vector<char>& piece);

protected:
    int Fd() const { return m_fd.Get(); }
    CBlockMap& Map() { return m_have; }
    const Offer& Wanted() const { return m_offer; }
    bool ReadBlock(uint32_t block, std::vector<char>& data);
    /// Notes the failure; always false.
    bool Fail(Failure failure, const std::string& problem);
    bool FailErrno(const char* what);

private:
    CFileDescriptor m_fd;
    const Offer m_offer;
    CBlockMap m_have;
    CSha256 m_hash;
    uint32_t m_nVerified = 0;  // blocks hashed so far
    std::string m_strProblem;
    Failure m_failure = Failure::None;
};

/// A file under its final name that may be the offered one already. It is only read.
class CExistingFile : public CDiskFile {
public:
    CExistingFile(CFileDescriptor fd, const Offer& offer);
    bool Write(uint32_t, const char*, uint32_t, uint64_t) override { return false; }
    StoreStep Repair() override;
};

}  // namespace lumo
