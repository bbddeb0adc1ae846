#include "tools/lumo/transfer/tree_stores.h"

#include "tools/lumo/transfer/error_text.h"
#include "tools/lumo/transfer/file_name.h"
#include "tools/lumo/transfer/tree_path.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>

namespace lumo {

SharedFolder CTreeRoot::Open(const std::string& path, bool make, Refusal& refusal) {
    if (path.empty()) return m_pRoot;
    if (m_pLast && path == m_strLast) return m_pLast;
    SharedFolder folder = m_pRoot;
    for (size_t at = 0; folder && at < path.size();) {
        const size_t end = std::min(path.find('/', at), path.size());
        folder = OpenOwnFolder(folder->Get(), path.substr(at, end - at), make, refusal);
        at = end + 1;
    }
    if (folder) {
        m_strLast = path;
        m_pLast = folder;
    }
    return folder;
}

SharedFolder CEntryStore::Above() { return m_pRoot->Open(ParentOf(m_strPath), true, m_refusal); }

bool CEntryStore::Refuse(Failure reason, std::string problem) {
    m_refusal = {reason, std::move(problem)};
    return false;
}

void CEntryStore::Date(int folder, const std::string& name) const {
    const timespec modified{m_traits.seconds, static_cast<long>(m_traits.nanoseconds)};
    const timespec times[] = {{0, UTIME_OMIT}, modified};
    if (m_traits.dated) (void)utimensat(folder, name.c_str(), times, AT_SYMLINK_NOFOLLOW);
}

bool CFolderStore::Commit() {
    if (!m_pRoot->Open(m_strPath, true, m_refusal)) return false;
    const SharedFolder above = Above();
    if (above) Date(above->Get(), BaseName(m_strPath));
    return above != nullptr;
}

bool CLinkStore::MakeRoom(int folder, const std::string& name, bool& same) {
    std::string found(m_traits.target.size() + 1, '\0');
    const ssize_t length = readlinkat(folder, name.c_str(), found.data(), found.size());
    if (length < 0 && errno == ENOENT) return true;
    if (length < 0) return Refuse(Failure::Exists, "something that is not a link has that name");
    found.resize(static_cast<size_t>(length));
    same = found == m_traits.target;
    if (same || (m_bForce && unlinkat(folder, name.c_str(), 0) == 0)) return true;
    return Refuse(Failure::Exists, "a link to elsewhere has that name (--force replaces it)");
}

bool CLinkStore::Commit() {
    const SharedFolder above = Above();
    if (!above) return false;
    const std::string name = BaseName(m_strPath);
    bool same = false;
    if (!MakeRoom(above->Get(), name, same)) return false;
    if (!same && symlinkat(m_traits.target.c_str(), above->Get(), name.c_str()) != 0)
        return Refuse(FailureOf(errno), "cannot make the link: " + ErrorText(errno));
    Date(above->Get(), name);
    return true;
}

}  // namespace lumo
