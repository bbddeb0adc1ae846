// Standard input as a file to send.
#pragma once

#include "tools/lumo/transfer/file_source.h"

#include <string>

namespace lumo {

/// Copies what comes to a temporary file and hashes it on the way; its size is known once the digest is.
class CSpooledSource : public IFileSource {
public:
    /// `input` is not closed.
    CSpooledSource(int input, CFileDescriptor spool, std::string name);

    const std::string& Name() const override { return m_strName; }
    uint64_t Size() const override { return m_ullSize; }
    /// Waits a moment for more when there is none.
    bool HashStep() override;
    uint64_t HashedBytes() const override { return m_ullSize; }
    const Digest& Sha256() const override { return m_digest; }
    bool Read(uint32_t block, char* buffer) override;
    const std::string& Problem() const override { return m_strProblem; }

private:
    bool Append(const char* data, size_t length);

    static constexpr int kWaitMs = 50;
    const int m_nInput;
    CFileDescriptor m_spool;
    const std::string m_strName;
    uint64_t m_ullSize = 0;
    bool m_bDigest = false;
    CSha256 m_hash;
    Digest m_digest{};
    std::string m_strProblem;
};

}  // namespace lumo
