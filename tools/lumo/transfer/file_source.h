// A file that is sent.
#pragma once

#include "platform/lumonet/file_descriptor.h"
#include "tools/lumo/transfer/messages.h"
#include "tools/lumo/transfer/sha256.h"

#include <sys/stat.h>

#include <cstdint>
#include <functional>
#include <string>

namespace lumo {

/// What the sender needs of a file; one thread.
class IFileSource {
public:
    virtual ~IFileSource() = default;
    virtual const std::string& Name() const = 0;
    virtual uint64_t Size() const = 0;  ///< final once hashed
    /// Hashes a little more; true once the digest is known. On a failure Problem() says why.
    virtual bool HashStep() = 0;
    virtual uint64_t HashedBytes() const = 0;
    virtual const Digest& Sha256() const = 0;
    /// Reads a block whole; false when it cannot or when the file is no longer the one that was hashed.
    virtual bool Read(uint32_t block, char* buffer) = 0;
    virtual const std::string& Problem() const = 0;
    virtual const EntryTraits& Traits() const { return m_traits; }
    /// Others are read now.
    virtual void Rest() {}

protected:
    EntryTraits m_traits;
};

/// Those of something that is there; of a link all but its target.
EntryTraits TraitsOf(EntryKind kind, const struct stat& found);

class CFileSource : public IFileSource {
public:
    /// Takes the descriptor; `name` is what receivers see.
    CFileSource(CFileDescriptor fd, std::string name);
    /// Opens it again after a rest, and says in errno why not: who sends many files has few of them open.
    using Opener = std::function<CFileDescriptor()>;
    CFileSource(Opener opener, std::string name);

    /// False, with `problem`, when it is no readable regular file.
    bool Open(std::string& problem);

    const std::string& Name() const override { return m_strName; }
    uint64_t Size() const override { return m_ullSize; }
    bool HashStep() override;
    uint64_t HashedBytes() const override { return m_ullHashed; }
    const Digest& Sha256() const override { return m_digest; }
    bool Read(uint32_t block, char* buffer) override;
    const std::string& Problem() const override { return m_strProblem; }
    void Rest() override {
        if (m_opener) m_fd.Reset();
    }

private:
    bool IsOpen();
    bool ReadAt(uint64_t offset, char* buffer, size_t length);
    bool IsUnchanged();

    CFileDescriptor m_fd;
    const Opener m_opener;
    const std::string m_strName;
    struct stat m_opened {};
    uint64_t m_ullSize = 0;
    uint64_t m_ullHashed = 0;
    bool m_bDigest = false;
    CSha256 m_hash;
    Digest m_digest{};
    std::string m_strProblem;
};

}  // namespace lumo
