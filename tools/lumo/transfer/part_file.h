// A file that grows as NAME.part until it is whole and verified.
#pragma once

#include "tools/lumo/transfer/disk_file.h"
#include "tools/lumo/transfer/own_file.h"
#include "tools/lumo/transfer/part_map.h"

#include <sys/stat.h>

#include <memory>
#include <set>
#include <string>
#include <vector>

namespace lumo {

/// Names in use by the files of one transfer: final ones, parts and records.
using NameClaims = std::set<std::string>;

/// A file's names among those, until it goes.
class CNameClaim {
public:
    /// Empty when one of them is taken.
    CNameClaim(std::shared_ptr<NameClaims> claims, const std::string& path);
    ~CNameClaim() { Release(); }
    CNameClaim(CNameClaim&& other) noexcept = default;
    CNameClaim& operator=(CNameClaim&&) = delete;
    explicit operator bool() const { return !m_names.empty(); }

private:
    void Release();
    std::shared_ptr<NameClaims> m_pClaims;
    std::vector<std::string> m_names;
};

/// What a folder has opened for one file.
struct PartFiles {
    CFileDescriptor part;
    CFileDescriptor map;
};

class CPartFile : public CDiskFile {
public:
    /// The offer's name is that in `folder`.
    CPartFile(SharedFolder folder, PartFiles files, const Offer& offer, bool force, CNameClaim claim);
    ~CPartFile() override;
    CPartFile(const CPartFile&) = delete;
    CPartFile& operator=(const CPartFile&) = delete;

    /// Takes up what an earlier attempt has left; false when the record or the part is none of ours.
    bool Begin();
    bool Write(uint32_t block, const char* data, uint32_t length, uint64_t checksum) override;
    StoreStep Repair() override;
    bool Commit() override;
    void Flush() override;

private:
    void ForgetBeyond(uint64_t end);
    bool RestartMap();
    bool Compare(uint32_t block, const std::vector<char>& data);
    bool Replaces(struct stat& old) const;
    void TakeModeOf(const struct stat& old);
    bool PutUnderItsName();

    int Folder() const { return m_pFolder->Get(); }
    void TakeTraits();

    const CNameClaim m_claim;  // the last to go
    const SharedFolder m_pFolder;
    const std::string m_strPart;
    const std::string m_strMap;
    const bool m_bForce;
    bool m_bOurs = false;  // the part and its record, until the part gets its final name
    CPartMap m_map;
    uint32_t m_nCompared = 0;  // blocks that the repair has looked at
    uint64_t m_ullKicked = 0;  // bytes written since the kernel was last asked to write them out
};

}  // namespace lumo
