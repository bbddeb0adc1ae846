#include "tools/lumo/transfer/file_folder.h"

#include "tools/lumo/transfer/error_text.h"
#include "tools/lumo/transfer/file_name.h"
#include "tools/lumo/transfer/tree_path.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/statvfs.h>

#include <cerrno>
#include <cstdlib>

namespace lumo {
namespace {

/// Some file systems of servers say nothing of their size: what does not fit is then noticed when it is written.
uint64_t FreeBytesOf(const struct statvfs& disk) {
    return disk.f_blocks == 0 ? UINT64_MAX : uint64_t{disk.f_bavail} * disk.f_frsize;
}

std::string SpoolPath() {
    const char* folder = std::getenv("TMPDIR");  // NOLINT(concurrency-mt-unsafe): nobody sets variables
    return folder && *folder ? folder : "/tmp";
}

bool OpenFiles(int folder, const CNameClaim& claim, PartFiles& files, Refusal& refusal) {
    files.map = OpenOwnFile(folder, claim.Map(), refusal);
    if (!files.map) return false;
    files.part = OpenOwnFile(folder, claim.Part(), refusal);
    struct stat map {};
    const bool blank = !files.part && fstat(files.map.Get(), &map) == 0 && map.st_size == 0;
    if (blank) (void)unlinkat(folder, claim.Map().c_str(), 0);
    return static_cast<bool>(files.part);
}

}  // namespace

uint64_t CFileFolder::FreeBytes() const {
    struct statvfs disk {};
    return fstatvfs(m_pRoot->Get(), &disk) == 0 ? FreeBytesOf(disk) : UINT64_MAX;
}

bool CFileFolder::CheckTarget(int folder, const Offer& offer, CFileDescriptor& existing, Refusal& refusal) const {
    struct stat target {};
    if (fstatat(folder, offer.name.c_str(), &target, AT_SYMLINK_NOFOLLOW) != 0) {
        if (errno == ENOENT) return true;
        refusal = {Failure::Disk, ErrorText(errno)};
    } else if (!S_ISREG(target.st_mode)) {
        refusal = {Failure::Exists, "something that is not a regular file has that name"};
    } else if (m_rules.force) {
        return true;
    } else if (static_cast<uint64_t>(target.st_size) == offer.size) {
        existing.Reset(openat(folder, offer.name.c_str(), O_RDONLY | O_NOFOLLOW | O_CLOEXEC | O_NONBLOCK));
        if (existing) return true;
        refusal = {Failure::Exists, "it exists already"};
    } else {
        refusal = {Failure::Exists, "it exists already with other content (--force replaces it)"};
    }
    return false;
}

OpenResult CFileFolder::OpenFile(const std::string& path, const Offer& offered, std::unique_ptr<IFileStore>& store,
                                 Refusal& refusal) {
    const SharedFolder folder = m_pRoot->Open(ParentOf(path), true, refusal);
    if (!folder) return OpenResult::Refused;
    CFileDescriptor existing;
    Offer offer = offered;
    offer.name = BaseName(path);
    if (!CheckTarget(folder->Get(), offer, existing, refusal)) return OpenResult::Refused;
    if (existing) {
        store = std::make_unique<CExistingFile>(std::move(existing), offer);
        return OpenResult::AlreadyThere;
    }
    CNameClaim claim(m_pClaims, path, folder->Get());
    PartFiles files;
    if (!claim) {
        refusal = {Failure::BadOffer, "another file of this transfer has that name"};
        return OpenResult::Refused;
    }
    if (!OpenFiles(folder->Get(), claim, files, refusal)) return OpenResult::Refused;
    auto part = std::make_unique<CPartFile>(folder, std::move(files), offer, m_rules.force, std::move(claim));
    if (!part->Begin()) {
        refusal = {part->Reason(), part->Problem()};
        return OpenResult::Refused;
    }
    store = std::move(part);
    return OpenResult::Fetch;
}

OpenResult CFileFolder::OpenAt(const std::string& path, const Offer& offered, std::unique_ptr<IFileStore>& store,
                               Refusal& refusal) {
    const EntryKind kind = offered.traits.kind;
    const bool held = m_pClaims->HeldByPart(path);
    m_pClaims->offered.insert(path);
    if (kind == EntryKind::File) return held ? OpenResult::Later : OpenFile(path, offered, store, refusal);
    if (!m_rules.name.empty()) {
        refusal = {Failure::Exists, "a folder comes, and " + m_rules.name + " is none"};
    } else if (kind == EntryKind::Folder) {
        if (held || m_pRoot->Open(path, true, refusal))
            store = std::make_unique<CFolderStore>(m_pRoot, path, offered.traits);
    } else if (const std::string problem = LinkProblem(path, offered.traits.target); !problem.empty()) {
        refusal = {Failure::BadName, "the link is refused: " + problem};
    } else {
        store = std::make_unique<CLinkStore>(m_pRoot, path, offered.traits, m_rules.force);
    }
    return store ? OpenResult::Fetch : OpenResult::Refused;
}

std::string CFileFolder::LocalName(const std::string& offered) const {
    if (!m_rules.name.empty()) return m_rules.name;
    return m_rules.allowHidden ? offered : VisibleName(offered);
}

std::string CFileFolder::CountProblem(uint32_t files) const {
    if (m_rules.name.empty() || files <= 1) return "";
    return std::to_string(files) + " files come, and " + m_rules.name + " is no directory for them";
}

OpenResult CFileFolder::Open(const Offer& offered, std::unique_ptr<IFileStore>& store, std::string& problem,
                             Failure& reason) {
    if (offered.traits.kind == EntryKind::Text) return CSpoolFolder().Open(offered, store, problem, reason);
    Refusal refusal;
    OpenResult result = OpenResult::Refused;
    std::string path = offered.name;
    std::string pathProblem = PathProblem(path);
    if (pathProblem.empty()) {
        path = LocalName(offered.name);
        pathProblem = PathProblem(path);
    }
    if (pathProblem.empty())
        result = OpenAt(path, offered, store, refusal);
    else
        refusal = {Failure::BadName, "the name is refused: " + pathProblem};
    problem = refusal.problem;
    reason = refusal.reason;
    return result;
}

CFileDescriptor MakeSpoolFile() {
    std::string path = SpoolPath();
    CFileDescriptor fd(open(path.c_str(), O_RDWR | O_TMPFILE | O_CLOEXEC, 0600));
    if (fd) return fd;
    path += "/lumo-XXXXXX";
    fd.Reset(mkostemp(path.data(), O_CLOEXEC));
    if (fd) (void)unlink(path.c_str());
    return fd;
}

uint64_t CSpoolFolder::FreeBytes() const {
    struct statvfs disk {};
    return statvfs(SpoolPath().c_str(), &disk) == 0 ? FreeBytesOf(disk) : UINT64_MAX;
}

OpenResult CSpoolFolder::Open(const Offer& offer, std::unique_ptr<IFileStore>& store, std::string& problem,
                              Failure& reason) {
    if (!offer.traits.HasContent()) {
        problem = "standard output takes no folders";
        reason = Failure::BadOffer;
        return OpenResult::Refused;
    }
    CFileDescriptor fd = MakeSpoolFile();
    if (!fd) {
        problem = "no temporary file: " + ErrorText(errno);
        reason = Failure::Disk;
        return OpenResult::Refused;
    }
    store = std::make_unique<CDiskFile>(std::move(fd), offer);
    return OpenResult::Fetch;
}

}  // namespace lumo
