#include "tools/lumo/transfer/tree_source.h"

#include "tools/lumo/transfer/error_text.h"
#include "tools/lumo/transfer/tree_path.h"

#include <dirent.h>
#include <fcntl.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

namespace lumo {

CEntrySource::CEntrySource(std::string name, EntryTraits traits, std::string content)
    : m_strName(std::move(name)), m_strContent(std::move(content)) {
    m_traits = std::move(traits);
}

bool CEntrySource::HashStep() {
    CSha256 hash;
    hash.Add(m_strContent.data(), m_strContent.size());
    if (hash.Finish(m_digest)) return true;
    m_strProblem = "its SHA-256 cannot be computed";
    return false;
}

bool CEntrySource::Read(uint32_t block, char* buffer) {
    std::memcpy(buffer, m_strContent.data() + size_t{block} * kBlockSize, BlockLength(m_strContent.size(), block));
    return true;
}

namespace {

constexpr int kFolderFlags = O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC;
using Root = std::shared_ptr<const CFileDescriptor>;

/// Opens a file below the root; no link is followed, even if one has taken a folder's place meanwhile.
CFileDescriptor OpenBelow(const Root& root, const std::string& path) {
    CFileDescriptor folder(fcntl(root->Get(), F_DUPFD_CLOEXEC, 0));
    size_t at = 0;
    for (size_t end = path.find('/'); folder && end != std::string::npos; at = end + 1, end = path.find('/', at))
        folder = CFileDescriptor(openat(folder.Get(), path.substr(at, end - at).c_str(), kFolderFlags));
    if (!folder) return folder;
    return CFileDescriptor(
        openat(folder.Get(), path.substr(at).c_str(), O_RDONLY | O_NOFOLLOW | O_CLOEXEC | O_NONBLOCK));
}

/// The names in a folder, in order; false with errno set.
bool NamesIn(int folder, std::vector<std::string>& names) {
    const int copy = openat(folder, ".", kFolderFlags);  // reading moves what a descriptor's copies share
    const std::unique_ptr<DIR, int (*)(DIR*)> open(copy < 0 ? nullptr : fdopendir(copy), closedir);
    if (!open) return false;
    errno = 0;
    while (const dirent* entry = readdir(open.get())) {  // NOLINT(concurrency-mt-unsafe): nobody else has this one
        const std::string name = entry->d_name;
        if (name != "." && name != "..") names.push_back(name);
        if (names.size() > kMaxEntries) break;
    }
    std::sort(names.begin(), names.end());
    return errno == 0;
}

/// One walk over a tree.
struct TreeWalk {
    Root root;
    const std::string& name;  // of the root, as receivers see it
    std::vector<std::unique_ptr<IFileSource>>& entries;
    LeftOut& leftOut;
    std::string& problem;

    bool Fail(const std::string& path, const std::string& why) const {
        problem.assign(path).append(": ").append(why);
        return false;
    }
    bool AddFolder(int folder, const std::string& path);
    bool AddEntry(int folder, const std::string& path, const std::string& leaf);
    bool AddFile(const std::string& path);
    bool AddLink(int folder, const std::string& path, const std::string& leaf, const struct stat& found);
};

bool TreeWalk::AddFolder(int folder, const std::string& path) {
    struct stat found {};
    std::vector<std::string> names;
    const std::string why = PathProblem(path);
    if (!why.empty()) return Fail(path, "receivers would refuse the name: " + why);
    if (fstat(folder, &found) != 0 || !NamesIn(folder, names)) return Fail(path, ErrorText(errno));
    entries.push_back(std::make_unique<CEntrySource>(path, TraitsOf(EntryKind::Folder, found)));
    return std::all_of(names.begin(), names.end(),
                       [&](const std::string& leaf) { return AddEntry(folder, path + "/" + leaf, leaf); });
}

bool TreeWalk::AddEntry(int folder, const std::string& path, const std::string& leaf) {
    struct stat found {};
    if (entries.size() >= kMaxEntries)
        return Fail(name, "more than " + std::to_string(kMaxEntries) + " files and folders; put them into an archive");
    if (fstatat(folder, leaf.c_str(), &found, AT_SYMLINK_NOFOLLOW) != 0) return Fail(path, ErrorText(errno));
    if (S_ISREG(found.st_mode)) return AddFile(path);
    if (S_ISLNK(found.st_mode)) return AddLink(folder, path, leaf, found);
    if (!S_ISDIR(found.st_mode)) {
        leftOut.emplace_back(path, "it is neither a file nor a folder");
        return true;
    }
    const CFileDescriptor below(openat(folder, leaf.c_str(), kFolderFlags));
    return below ? AddFolder(below.Get(), path) : Fail(path, ErrorText(errno));
}

bool TreeWalk::AddFile(const std::string& path) {
    const auto open = [from = root, below = path.substr(name.size() + 1)] { return OpenBelow(from, below); };
    auto source = std::make_unique<CFileSource>(open, path);
    std::string why;
    if (!source->Open(why)) return Fail(path, why);
    source->Rest();
    entries.push_back(std::move(source));
    return true;
}

bool TreeWalk::AddLink(int folder, const std::string& path, const std::string& leaf, const struct stat& found) {
    std::string target(kMaxPathLength + 1, '\0');
    const ssize_t length = readlinkat(folder, leaf.c_str(), target.data(), target.size());
    if (length < 0) return Fail(path, ErrorText(errno));
    target.resize(static_cast<size_t>(length));
    std::string why = PathProblem(path);
    if (!why.empty()) return Fail(path, "receivers would refuse the name: " + why);
    why = LinkProblem(path, target);
    if (!why.empty()) {
        leftOut.emplace_back(path, "the link is not sent: " + why);
        return true;
    }
    EntryTraits traits = TraitsOf(EntryKind::Link, found);
    traits.target = target;
    entries.push_back(std::make_unique<CEntrySource>(path, std::move(traits)));
    return true;
}

}  // namespace

bool AddTree(CFileDescriptor folder, const std::string& name, std::vector<std::unique_ptr<IFileSource>>& entries,
             LeftOut& leftOut, std::string& problem) {
    const Root root = std::make_shared<const CFileDescriptor>(std::move(folder));
    return TreeWalk{root, name, entries, leftOut, problem}.AddFolder(root->Get(), name);
}

}  // namespace lumo
