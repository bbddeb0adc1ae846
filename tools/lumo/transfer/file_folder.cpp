#include "tools/lumo/transfer/file_folder.h"

#include "tools/lumo/transfer/file_name.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/statvfs.h>

#include <cerrno>
#include <cstdlib>

namespace lumo {

bool CFileFolder::Claim(const Offer& offer) {
    const std::string names[] = {offer.name, PartName(offer.name), MapName(offer.name)};
    for (const std::string& name : names) {
        if (m_pClaims->count(name) != 0) return false;
    }
    m_pClaims->insert(std::begin(names), std::end(names));
    return true;
}

bool CFileFolder::CheckTarget(const Offer& offer, CUniqueFd& existing, Refusal& refusal) {
    struct stat target {};
    if (fstatat(m_folder.Get(), offer.name.c_str(), &target, AT_SYMLINK_NOFOLLOW) != 0) {
        if (errno == ENOENT) return true;
        refusal = {Failure::Disk, ErrorText(errno)};
    } else if (!S_ISREG(target.st_mode)) {
        refusal = {Failure::Exists, "something that is not a regular file has that name"};
    } else if (m_bForce) {
        return true;
    } else if (static_cast<uint64_t>(target.st_size) == offer.size) {
        existing.Reset(openat(m_folder.Get(), offer.name.c_str(), O_RDONLY | O_NOFOLLOW | O_CLOEXEC));
        if (existing) return true;
        refusal = {Failure::Exists, "it exists already"};
    } else {
        refusal = {Failure::Exists, "it exists already with other content (--force replaces it)"};
    }
    return false;
}

CUniqueFd CFileFolder::OpenOwn(const std::string& name, bool mayExist, Refusal& refusal) {
    const int flags = O_RDWR | O_CREAT | O_NOFOLLOW | O_CLOEXEC | O_NONBLOCK | (mayExist ? 0 : O_EXCL);
    CUniqueFd fd(openat(m_folder.Get(), name.c_str(), flags, 0666));
    struct stat opened {};
    const bool blocked = !fd && (errno == EEXIST || errno == ELOOP || errno == ENXIO || errno == EISDIR);
    const bool usable = fd && fstat(fd.Get(), &opened) == 0;
    const bool own = usable && S_ISREG(opened.st_mode) && opened.st_nlink == 1 && opened.st_uid == geteuid();
    if (blocked || (usable && !own)) {
        refusal = {Failure::Exists, name + " is in the way"};
    } else if (!usable) {
        refusal = {Failure::Disk, "cannot open " + name + ": " + ErrorText(errno)};
    } else if (flock(fd.Get(), LOCK_EX | LOCK_NB) != 0) {
        refusal = {Failure::Exists, "another transfer is writing it"};
    } else {
        return fd;
    }
    return CUniqueFd();
}

bool CFileFolder::OpenFiles(const Offer& offer, PartFiles& files, Refusal& refusal) {
    // The record comes first: a part without one is not ours.
    files.map = OpenOwn(MapName(offer.name), true, refusal);
    if (!files.map) return false;
    struct stat map {};
    files.fresh = fstat(files.map.Get(), &map) != 0 || map.st_size == 0;
    files.part = OpenOwn(PartName(offer.name), !files.fresh || m_bForce, refusal);
    if (!files.part && files.fresh) (void)unlinkat(m_folder.Get(), MapName(offer.name).c_str(), 0);
    return static_cast<bool>(files.part);
}

bool CFileFolder::HasRoom(const Offer& offer, const IFileStore& store, Refusal& refusal) {
    struct statvfs disk {};
    const uint64_t held = uint64_t{store.Have().Held()} * kBlockSize;
    if (held >= offer.size || fstatvfs(m_folder.Get(), &disk) != 0) return true;
    if (uint64_t{disk.f_bavail} * disk.f_frsize >= offer.size - held) return true;
    refusal = {Failure::NoSpace, "there is no room for " + std::to_string(offer.size - held) + " bytes"};
    return false;
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
    auto part = std::make_unique<CPartFile>(m_folder.Get(), std::move(files), offer, m_bForce, m_pClaims);
    if (!part->Begin()) {
        refusal = {part->Reason(), part->Problem()};
        return OpenResult::Refused;
    }
    if (!HasRoom(offer, *part, refusal)) return OpenResult::Refused;
    store = std::move(part);
    return OpenResult::Fetch;
}

OpenResult CFileFolder::Open(const Offer& offer, std::unique_ptr<IFileStore>& store, std::string& problem,
                             Failure& reason) {
    Refusal refusal;
    OpenResult result = OpenResult::Refused;
    CUniqueFd existing;
    const std::string nameProblem = NameProblem(offer.name);
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

CUniqueFd MakeSpoolFile() {
    const char* folder = std::getenv("TMPDIR");  // NOLINT(concurrency-mt-unsafe): nobody sets variables
    std::string path = folder && *folder ? folder : "/tmp";
    CUniqueFd fd(open(path.c_str(), O_RDWR | O_TMPFILE | O_CLOEXEC, 0600));
    if (fd) return fd;
    path += "/lumo-XXXXXX";
    fd.Reset(mkostemp(path.data(), O_CLOEXEC));
    if (fd) (void)unlink(path.c_str());
    return fd;
}

OpenResult CSpoolFolder::Open(const Offer& offer, std::unique_ptr<IFileStore>& store, std::string& problem,
                              Failure& reason) {
    CUniqueFd fd = MakeSpoolFile();
    if (!fd) {
        problem = "no temporary file: " + ErrorText(errno);
        reason = Failure::Disk;
        return OpenResult::Refused;
    }
    store = std::make_unique<CDiskFile>(std::move(fd), offer);
    return OpenResult::Fetch;
}

}  // namespace lumo
