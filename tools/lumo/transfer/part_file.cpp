#include "tools/lumo/transfer/part_file.h"

#include "tools/lumo/transfer/file_name.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstdio>

namespace lumo {
namespace {
constexpr size_t kFlushBlocks = 16;                // what a killed process fetches again, at most: 1 MiB
constexpr uint64_t kKickBytes = 16 * 1024 * 1024;  // keeps the final fsync short
}  // namespace

CPartFile::CPartFile(int folder, PartFiles files, const Offer& offer, bool force, std::shared_ptr<NameClaims> claims)
    : CDiskFile(std::move(files.part), offer),
      m_nFolder(folder),
      m_strPart(PartName(offer.name)),
      m_strMap(MapName(offer.name)),
      m_bFresh(files.fresh),
      m_bForce(force),
      m_pClaims(std::move(claims)),
      m_map(std::move(files.map), offer) {}

CPartFile::~CPartFile() {
    CPartFile::Flush();
    if (m_bOurs && Map().Held() == 0) {  // nothing worth keeping
        (void)unlinkat(m_nFolder, m_strPart.c_str(), 0);
        (void)unlinkat(m_nFolder, m_strMap.c_str(), 0);
    }
    for (const std::string& name : {Wanted().name, m_strPart, m_strMap}) m_pClaims->erase(name);
}

bool CPartFile::Begin() {
    m_bOurs = TakeUp();
    return m_bOurs;
}

bool CPartFile::TakeUp() {
    struct stat part {};
    if (fstat(Fd(), &part) != 0) return FailErrno("cannot look at the part");
    switch (m_bFresh ? CPartMap::Found::OtherFile : m_map.Load(Map())) {
        case CPartMap::Found::Foreign:
            if (!m_bForce) return Fail(Failure::Exists, m_strMap + " is in the way (--force replaces it)");
            break;
        case CPartMap::Found::OtherFile:
            break;
        case CPartMap::Found::Ours:
            // What lies past the end of the part was never written.
            for (uint32_t block = Map().Blocks(); block-- > 0;) {
                const uint64_t end = uint64_t{block} * kBlockSize + BlockLength(Wanted().size, block);
                if (end <= static_cast<uint64_t>(part.st_size)) break;
                Map().Clear(block);
            }
            return true;
    }
    if (ftruncate(Fd(), 0) != 0) return FailErrno("cannot empty the part");
    return RestartMap();
}

bool CPartFile::RestartMap() {
    Map().ClearAll();
    return m_map.Restart() || FailErrno("cannot write the record");
}

bool CPartFile::Write(uint32_t block, const char* data, uint32_t length, uint64_t checksum) {
    if (!CDiskFile::Write(block, data, length, checksum)) return false;
    m_map.Add(block, checksum);
    if (m_map.Pending() >= kFlushBlocks && !m_map.Flush()) return FailErrno("cannot write the record");
    m_ullKicked += length;
    if (m_ullKicked >= kKickBytes) {
        m_ullKicked = 0;
        (void)sync_file_range(Fd(), 0, 0, SYNC_FILE_RANGE_WRITE);
    }
    return true;
}

void CPartFile::Flush() { (void)m_map.Flush(); }  // what is lost here is fetched again

bool CPartFile::Repair() {
    if (!m_map.Flush()) return FailErrno("cannot write the record");
    std::vector<char> data;
    uint32_t bad = 0;
    for (uint32_t block = 0; block < Map().Blocks(); ++block) {
        if (!ReadBlock(block, data)) return false;
        if (m_map.Matches(block, BlockChecksum(data.data(), data.size()))) continue;
        if (!m_map.Forget(block)) return FailErrno("cannot write the record");
        Map().Clear(block);
        ++bad;
    }
    return bad > 0 || RestartMap();
}

bool CPartFile::IsPartStillOurs() {
    struct stat open {
    }, named{};
    if (fstat(Fd(), &open) != 0 || fstatat(m_nFolder, m_strPart.c_str(), &named, AT_SYMLINK_NOFOLLOW) != 0)
        return FailErrno("cannot look at the part");
    if (open.st_dev == named.st_dev && open.st_ino == named.st_ino) return true;
    return Fail(Failure::Disk, m_strPart + " was replaced by somebody else");
}

bool CPartFile::PutUnderItsName() {
    const char* from = m_strPart.c_str();
    const char* to = Wanted().name.c_str();
    if (m_bForce) return renameat(m_nFolder, from, m_nFolder, to) == 0 || FailErrno("cannot rename the part");
    if (renameat2(m_nFolder, from, m_nFolder, to, RENAME_NOREPLACE) == 0) return true;
    // Some file systems know no exclusive rename; a link is exclusive everywhere.
    if (errno == EINVAL && linkat(m_nFolder, from, m_nFolder, to, 0) == 0) {
        (void)unlinkat(m_nFolder, from, 0);
        return true;
    }
    if (errno == EEXIST) return Fail(Failure::Exists, "it has appeared meanwhile (--force replaces it)");
    return FailErrno("cannot rename the part");
}

bool CPartFile::Commit() {
    if (ftruncate(Fd(), static_cast<off_t>(Wanted().size)) != 0) return FailErrno("cannot cut to size");
    if (fsync(Fd()) != 0) return FailErrno("cannot write to the disk");
    if (!IsPartStillOurs() || !PutUnderItsName()) return false;
    m_bOurs = false;
    (void)unlinkat(m_nFolder, m_strMap.c_str(), 0);
    if (fsync(m_nFolder) != 0 && errno != EINVAL) return FailErrno("cannot write the directory to the disk");
    return true;
}

}  // namespace lumo
