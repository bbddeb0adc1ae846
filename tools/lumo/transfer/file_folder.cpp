#include "tools/lumo/transfer/file_folder.h"

#include "tools/lumo/transfer/error_text.h"
#include "tools/lumo/transfer/file_name.h"

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

}  // namespace

uint64_t CFileFolder::FreeBytes() const {
    struct statvfs disk {};
    return fstatvfs(m_folder.Get(), &disk) == 0 ? FreeBytesOf(disk) : UINT64_MAX;
}

bool CFileFolder::Claim(const Offer& offer) {
    const std::string names[] = {offer.name, PartName(offer.name), MapName(offer.name)};
    for (const std::string& name : names) {
        if (m_pClaims->count(name) != 0) return false;
    }
    m_pClaims->insert(std::begin(names), std::end(names));
    return true;
}

bool CFileFolder::CheckTarget(const Offer& offer, CFileDescriptor& existing, Refusal& refusal) {
    struct stat target {};
    if (fstatat(m_folder.Get(), offer.name.c_str(), &target, AT_SYMLINK_NOFOLLOW) != 0) {
        if (errno == ENOENT) return true;
        refusal = {Failure::Disk, ErrorText(errno)};
    } else if (!S_ISREG(target.st_mode)) {
        refusal = {Failure::Exists, "something that is not a regular file has that name"};
    } else if (m_rules.force) {
        return true;
    } else if (static_cast<uint64_t>(target.st_size) == offer.size) {
        existing.Reset(openat(m_folder.Get(), offer.name.c_str(), O_RDONLY | O_NOFOLLOW | O_CLOEXEC | O_NONBLOCK));
        if (existing) return true;
        refusal = {Failure::Exists, "it exists already"};
    } else {
        refusal = {Failure::Exists, "it exists already with other content (--force replaces it)"};
    }
    return false;
}

bool CFileFolder::OpenFiles(const Offer& offer, PartFiles& files, Refusal& refusal) {
    const std::string mapName = MapName(offer.name);
    files.map = OpenOwnFile(m_folder.Get(), mapName, refusal);
    if (!files.map) return false;
    files.part = OpenOwnFile(m_folder.Get(), PartName(offer.name), refusal);
    struct stat map {};
    const bool blank = !files.part && fstat(files.map.Get(), &map) == 0 && map.st_size == 0;
    if (blank) (void)unlinkat(m_folder.Get(), mapName.c_str(), 0);
    return static_cast<bool>(files.part);
}

OpenResult CFileFolder::OpenPart(const Offer& offer, std::unique_ptr<IFileStore>& store, Refusal& refusal) {
    PartFiles files;
    if (!Claim(offer)) {
        refusal = {Failure::BadOffer, "another file of this transfer has that name"};
        return OpenResult::Refused;
    }
    if (!OpenFiles(offer, files, refusal)) {
        for (const std::string& name : {offer.name, PartName(offer.name), MapName(offer.name)}) m_pClaims->erase(name);
        return OpenResult::Refused;
    }
    auto part = std::make_unique<CPartFile>(m_folder.Get(), std::move(files), offer, m_rules.force, m_pClaims);
    if (!part->Begin()) {
        refusal = {part->Reason(), part->Problem()};
        return OpenResult::Refused;
    }
    store = std::move(part);
    return OpenResult::Fetch;
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
    Refusal refusal;
    OpenResult result = OpenResult::Refused;
    CFileDescriptor existing;
    Offer offer = offered;
    std::string nameProblem = NameProblem(offer.name);
    if (nameProblem.empty()) {
        offer.name = LocalName(offered.name);
        nameProblem = NameProblem(offer.name);
    }
    if (!nameProblem.empty()) {
        refusal = {Failure::BadName, "the name is refused: " + nameProblem};
    } else if (CheckTarget(offer, existing, refusal)) {
        if (existing) {
            store = std::make_unique<CExistingFile>(std::move(existing), offer);
            result = OpenResult::AlreadyThere;
        } else {
            result = OpenPart(offer, store, refusal);
        }
    }
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
