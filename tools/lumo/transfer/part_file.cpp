#include "tools/lumo/transfer/part_file.h"

#include "tools/lumo/transfer/file_name.h"
#include "tools/lumo/transfer/own_file.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstdio>
#include <tuple>

namespace lumo {
namespace {
constexpr size_t kFlushBlocks = 16;                // what a killed process fetches again, at most: 1 MiB
constexpr uint64_t kKickBytes = 16 * 1024 * 1024;  // keeps the final fsync short
}  // namespace

CNameClaim::CNameClaim(std::shared_ptr<NameClaims> claims, const std::string& path, int folder)
    : m_pClaims(std::move(claims)) {
    constexpr int kMostMarks = 8;
    if (m_pClaims->open.count(path) != 0) return;
    std::string leaf = BaseName(path);
    const std::string above = path.substr(0, path.size() - leaf.size());
    for (int marks = 0; marks <= kMostMarks; ++marks, leaf += '~') {
        m_strPart = PartName(leaf);
        m_strMap = MapName(leaf);
        if (Take(folder, path, above)) return;
    }
}

/// Another file may be called as a part would be, of the transfer or of the user; a part has a record beside it.
bool CNameClaim::Take(int folder, const std::string& path, const std::string& above) {
    struct stat part {
    }, map{};
    const bool partThere = fstatat(folder, m_strPart.c_str(), &part, AT_SYMLINK_NOFOLLOW) == 0;
    const bool mapThere = fstatat(folder, m_strMap.c_str(), &map, AT_SYMLINK_NOFOLLOW) == 0;
    const bool another = partThere && S_ISREG(part.st_mode) && part.st_size > 0 && !mapThere;
    if (another || S_ISDIR(part.st_mode) || S_ISDIR(map.st_mode)) return false;
    if (!IsFree(above + m_strPart) || !IsFree(above + m_strMap)) return false;
    m_names = {path, above + m_strPart, above + m_strMap};
    for (const std::string& name : m_names)
        m_pClaims->open[name] = name == path ? NameClaims::Use::Final : NameClaims::Use::Part;
    return true;
}

void CNameClaim::Release() {
    for (const std::string& name : m_names) m_pClaims->open.erase(name);
}

bool NameClaims::HeldByPart(const std::string& path) const {
    for (size_t end = path.find('/');; end = path.find('/', end + 1)) {
        const auto found = open.find(path.substr(0, end));
        if (found != open.end() && found->second == Use::Part) return true;
        if (end == std::string::npos) return false;
    }
}

CPartFile::CPartFile(SharedFolder folder, PartFiles files, const Offer& offer, bool force, CNameClaim claim)
    : CDiskFile(std::move(files.part), offer),
      m_claim(std::move(claim)),
      m_pFolder(std::move(folder)),
      m_strPart(m_claim.Part()),
      m_strMap(m_claim.Map()),
      m_bForce(force),
      m_map(std::move(files.map), offer) {}

CPartFile::~CPartFile() {
    CPartFile::Flush();
    if (m_bOurs && Map().Held() == 0) {  // nothing worth keeping
        if (IsNamed(Folder(), m_strPart, Fd())) (void)unlinkat(Folder(), m_strPart.c_str(), 0);
        (void)unlinkat(Folder(), m_strMap.c_str(), 0);
    }
}

bool CPartFile::Begin() {
    struct stat part {};
    if (fstat(Fd(), &part) != 0) return FailErrno("cannot look at the part");
    const CPartMap::Found found = m_map.Load(Map());
    const bool partAlone = found == CPartMap::Found::Blank && part.st_size > 0;
    if (!m_bForce && (partAlone || found == CPartMap::Found::Foreign)) {
        const auto& [blocking, other] = partAlone ? std::tie(m_strPart, m_strMap) : std::tie(m_strMap, m_strPart);
        if (partAlone || part.st_size == 0) (void)unlinkat(Folder(), other.c_str(), 0);  // empty, most likely by us
        return Fail(Failure::Exists, blocking + " is in the way (--force replaces it)");
    }
    struct stat old {};  // what a private file is replaced by must not be readable while it comes
    if (Replaces(old)) (void)fchmod(Fd(), (part.st_mode & old.st_mode & 0777) | S_IRUSR | S_IWUSR);
    m_bOurs = true;  // from here on a failure takes them away, so that the next attempt finds the names free
    if (found == CPartMap::Found::Ours) {
        ForgetBeyond(static_cast<uint64_t>(part.st_size));
        return true;
    }
    if (ftruncate(Fd(), 0) != 0) return FailErrno("cannot empty the part");
    return RestartMap();
}

/// Whether a regular file gives way to this one, and which.
bool CPartFile::Replaces(struct stat& old) const {
    return m_bForce && fstatat(Folder(), Wanted().name.c_str(), &old, AT_SYMLINK_NOFOLLOW) == 0 && S_ISREG(old.st_mode);
}

/// What lies past the end of the part was never written.
void CPartFile::ForgetBeyond(uint64_t end) {
    for (uint32_t block = Map().Blocks(); block-- > 0;) {
        if (uint64_t{block} * kBlockSize + BlockLength(Wanted().size, block) <= end) break;
        Map().Clear(block);
    }
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

StoreStep CPartFile::Repair() {
    std::vector<char> data;
    for (uint32_t step = 0; step < kHashStep && m_nCompared < Map().Blocks(); step += kBlockSize, ++m_nCompared) {
        if (!ReadBlock(m_nCompared, data) || !Compare(m_nCompared, data)) return StoreStep::Broken;
    }
    if (m_nCompared < Map().Blocks()) return StoreStep::More;
    m_nCompared = 0;
    return !Map().Full() || RestartMap() ? StoreStep::Good : StoreStep::Broken;
}

/// Gives up a block that is not as it came; false when the record cannot be written.
bool CPartFile::Compare(uint32_t block, const std::vector<char>& data) {
    if (!m_map.Flush()) return FailErrno("cannot write the record");
    if (m_map.Matches(block, BlockChecksum(data.data(), data.size()))) return true;
    Map().Clear(block);
    return m_map.Forget(block) || FailErrno("cannot write the record");
}

/// The permissions of a file that is replaced. The same bits may mean other people where its owner or group is another
/// one: then they allow nothing that those of a new file do not allow, save execution.
void CPartFile::TakeModeOf(const struct stat& old) {
    struct stat part {};
    if (fstat(Fd(), &part) != 0) return;
    const mode_t common = part.st_mode | S_IXUSR | S_IXGRP | S_IXOTH;
    mode_t mode = old.st_mode & (S_IRWXU | S_IRWXG | S_IRWXO);
    if (old.st_gid != part.st_gid && fchown(Fd(), static_cast<uid_t>(-1), old.st_gid) != 0)
        mode &= common | ~mode_t{S_IRWXG};
    if (old.st_uid != part.st_uid) mode &= common;
    (void)fchmod(Fd(), mode);  // a disk that knows no permissions keeps none
}

/// What came with a tree's file. A disk that knows none of it keeps none.
void CPartFile::TakeTraits() {
    const EntryTraits& traits = Wanted().traits;
    struct stat part {};
    if (traits.executable && fstat(Fd(), &part) == 0) (void)fchmod(Fd(), (part.st_mode & 0777) | S_IXUSR);
    const timespec modified{traits.seconds, static_cast<long>(traits.nanoseconds)};
    const timespec times[] = {{0, UTIME_OMIT}, modified};
    if (traits.dated) (void)futimens(Fd(), times);
}

bool CPartFile::PutUnderItsName() {
    const std::string& name = Wanted().name;
    struct stat old {};
    if (Replaces(old)) TakeModeOf(old);
    TakeTraits();
    const bool put = m_bForce ? renameat(Folder(), m_strPart.c_str(), Folder(), name.c_str()) == 0
                              : RenameExclusively(Folder(), m_strPart, name);
    if (put) return true;
    if (errno == EEXIST) return Fail(Failure::Exists, "it has appeared meanwhile (--force replaces it)");
    return FailErrno("cannot rename the part");
}

bool CPartFile::Commit() {
    if (ftruncate(Fd(), static_cast<off_t>(Wanted().size)) != 0) return FailErrno("cannot cut to size");
    if (fsync(Fd()) != 0 && !IsUnknownHere(errno)) return FailErrno("cannot write to the disk");
    if (!IsNamed(Folder(), m_strPart, Fd())) return Fail(Failure::Disk, m_strPart + " was replaced by somebody else");
    if (!PutUnderItsName()) return false;
    m_bOurs = false;
    (void)unlinkat(Folder(), m_strMap.c_str(), 0);
    if (fsync(Folder()) != 0 && errno != EBADF && !IsUnknownHere(errno))
        return FailErrno("cannot write the directory to the disk");
    return true;
}

}  // namespace lumo
