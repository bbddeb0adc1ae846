// A file that grows as NAME.part until it is whole and verified.
#pragma once

#include "tools/lumo/transfer/disk_file.h"
#include "tools/lumo/transfer/own_file.h"
#include "tools/lumo/transfer/part_map.h"

#include <sys/stat.h>

#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

namespace lumo {

/// The paths of one transfer's files.
struct NameClaims {
    enum class Use { Final, Part };
    std::map<std::string, Use> open;  ///< of those that are being written, their parts and records
    std::set<std::string> offered;    ///< final ones, which no part may have

    /// Whether the path, or a folder on it, has to wait: the part or record of another file has that name.
    bool HeldByPart(const std::string& path) const;
};

/// A file's names among those, until it goes.
class CNameClaim {
public:
    /// Empty when another file has that path; `folder` holds it.
    CNameClaim(std::shared_ptr<NameClaims> claims, const std::string& path, int folder);
    ~CNameClaim() { Release(); }
    CNameClaim(CNameClaim&& other) noexcept = default;
    CNameClaim& operator=(CNameClaim&&) = delete;
    explicit operator bool() const { return !m_names.empty(); }

    /// Names in the file's folder.
    const std::string& Part() const { return m_strPart; }
    const std::string& Map() const { return m_strMap; }

private:
    bool IsFree(const std::string& path) const {
        return m_pClaims->open.count(path) == 0 && m_pClaims->offered.count(path) == 0;
    }
    bool Take(int folder, const std::string& path, const std::string& above);
    void Release();
    std::shared_ptr<NameClaims> m_pClaims;
    std::vector<std::string> m_names;  // paths
    std::string m_strPart, m_strMap;
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
