#include "tools/lumo/transfer/own_file.h"

#include "tools/lumo/transfer/error_text.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstdio>
#include <random>

namespace lumo {
namespace {

constexpr int kOpenFlags = O_RDWR | O_NOFOLLOW | O_CLOEXEC | O_NONBLOCK;

/// Whom a new file in `folder` belongs to: not to us where the file system maps owners (a server that takes root for
/// nobody, a disk that knows no owners).
bool OwnerOfNewFiles(int folder, uid_t& owner) {
    std::random_device random;
    const std::string name = ".lumo-owner-" + std::to_string(random()) + std::to_string(random());
    const CFileDescriptor probe(openat(folder, name.c_str(), kOpenFlags | O_CREAT | O_EXCL, 0600));
    struct stat made {};
    const bool known = probe && fstat(probe.Get(), &made) == 0;
    if (probe) (void)unlinkat(folder, name.c_str(), 0);
    owner = made.st_uid;
    return known;
}

/// A stranger may have put a file of his own there, to read what arrives or to change it after it was verified. Who
/// makes files under the owner that ours get could change ours as well.
bool MadeByUs(int folder, int fd) {
    struct stat found {};
    if (fstat(fd, &found) != 0 || !S_ISREG(found.st_mode) || found.st_nlink > 1) return false;
    uid_t owner = geteuid();
    return found.st_uid == owner || (OwnerOfNewFiles(folder, owner) && found.st_uid == owner);
}

/// 0 or the reason. Where nothing can be locked, nothing keeps two receivers of one file apart, and both may go on.
int Lock(int fd) {
    while (flock(fd, LOCK_EX | LOCK_NB) != 0) {
        if (errno == EINTR) continue;
        return errno == ENOLCK || IsUnknownHere(errno) ? 0 : errno;
    }
    return 0;
}

/// Who owns the folder above could replace this one as well.
bool IsOwnFolder(int above, int fd) {
    struct stat found {
    }, holder{};
    if (fstat(fd, &found) != 0 || fstat(above, &holder) != 0) return false;
    uid_t owner = geteuid();
    return found.st_uid == owner || found.st_uid == holder.st_uid ||
           (OwnerOfNewFiles(above, owner) && found.st_uid == owner);
}

}  // namespace

Failure FailureOf(int error) { return error == ENOSPC || error == EDQUOT ? Failure::NoSpace : Failure::Disk; }

bool IsUnknownHere(int error) { return error == EINVAL || error == ENOSYS || error == EOPNOTSUPP; }

bool IsNamed(int folder, const std::string& name, int fd) {
    struct stat open {
    }, named{};
    return fstat(fd, &open) == 0 && fstatat(folder, name.c_str(), &named, AT_SYMLINK_NOFOLLOW) == 0 &&
           open.st_dev == named.st_dev && open.st_ino == named.st_ino;
}

CFileDescriptor OpenOwnFile(int folder, const std::string& name, Refusal& refusal) {
    CFileDescriptor fd(openat(folder, name.c_str(), kOpenFlags));
    const bool found = static_cast<bool>(fd);
    if (!found && errno == ENOENT) fd.Reset(openat(folder, name.c_str(), kOpenFlags | O_CREAT | O_EXCL, 0666));
    const int error = errno;
    const bool blocked = !fd && (error == EEXIST || error == ELOOP || error == ENXIO || error == EISDIR);
    if (blocked || (found && !MadeByUs(folder, fd.Get()))) {
        refusal = {Failure::Exists, name + " is in the way"};
    } else if (!fd) {
        refusal = {FailureOf(error), "cannot open " + name + ": " + ErrorText(error)};
    } else {
        const int locked = Lock(fd.Get());
        // The other one may have ended, and taken its file away, between our opening and our locking.
        const bool busy = locked == EWOULDBLOCK || locked == EACCES || !IsNamed(folder, name, fd.Get());
        if (!busy && locked == 0) return fd;
        if (busy)
            refusal = {Failure::Exists, "another transfer is writing it"};
        else
            refusal = {Failure::Disk, "cannot lock " + name + ": " + ErrorText(locked)};
    }
    return CFileDescriptor();
}

SharedFolder OpenOwnFolder(int above, const std::string& name, bool make, Refusal& refusal) {
    int error = 0;
    if (make && mkdirat(above, name.c_str(), 0777) != 0 && errno != EEXIST) error = errno;
    CFileDescriptor fd;
    if (error == 0) {
        fd.Reset(openat(above, name.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC | O_NONBLOCK));
        error = fd ? 0 : errno;
    }
    if (error == ENOTDIR || error == ELOOP)
        refusal = {Failure::Exists, "something that is not a folder has the name " + name};
    else if (error != 0)
        refusal = {FailureOf(error), "cannot open the folder " + name + ": " + ErrorText(error)};
    else if (!IsOwnFolder(above, fd.Get()))
        refusal = {Failure::Exists, "the folder " + name + " is somebody else's"};
    else
        return std::make_shared<const CFileDescriptor>(std::move(fd));
    return nullptr;
}

bool RenameExclusively(int folder, const std::string& from, const std::string& to) {
    if (renameat2(folder, from.c_str(), folder, to.c_str(), RENAME_NOREPLACE) == 0) return true;
    if (!IsUnknownHere(errno)) return false;
    if (linkat(folder, from.c_str(), folder, to.c_str(), 0) == 0) {
        (void)unlinkat(folder, from.c_str(), 0);
        return true;
    }
    if (errno == EEXIST) return false;
    // Taking the name with an empty file is exclusive everywhere; the rename then replaces only that.
    if (!CFileDescriptor(openat(folder, to.c_str(), kOpenFlags | O_CREAT | O_EXCL, 0600))) return false;
    if (renameat(folder, from.c_str(), folder, to.c_str()) == 0) return true;
    const int error = errno;
    (void)unlinkat(folder, to.c_str(), 0);
    errno = error;
    return false;
}

}  // namespace lumo
