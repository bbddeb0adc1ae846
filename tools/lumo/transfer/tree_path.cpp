#include "tools/lumo/transfer/tree_path.h"

#include "tools/lumo/transfer/file_name.h"
#include "tools/lumo/transfer/limits.h"

#include <algorithm>
#include <vector>

namespace lumo {
namespace {

std::vector<std::string> ElementsOf(const std::string& path) {
    std::vector<std::string> elements;
    for (size_t at = 0; at <= path.size();) {
        const size_t end = std::min(path.find('/', at), path.size());
        elements.push_back(path.substr(at, end - at));
        at = end + 1;
    }
    return elements;
}

}  // namespace

std::string PathProblem(const std::string& path) {
    if (path.size() > kMaxPathLength) return "it is longer than a path may be";
    const std::vector<std::string> elements = ElementsOf(path);
    if (elements.size() > kMaxPathDepth) return "it is deeper than " + std::to_string(kMaxPathDepth) + " folders";
    for (const std::string& element : elements) {
        std::string problem = NameProblem(element);
        if (!problem.empty()) return problem;
    }
    return "";
}

// A folder that holds a link is reached without links, so that every ".." at the beginning leads to the folder above.
// Behind a name, which may be a link itself, it could lead anywhere.
std::string LinkProblem(const std::string& path, const std::string& target) {
    if (target.empty() || target.size() > kMaxPathLength) return "its target is no path";
    if (target.front() == '/') return "it leads to an absolute path";
    if (Printable(target) != target) return "its target does not print as it is";
    auto above = static_cast<size_t>(std::count(path.begin(), path.end(), '/'));  // folders up to the tree's own
    bool down = false;
    for (const std::string& element : ElementsOf(target)) {
        if (element.empty() || element == ".") continue;
        if (element != "..") {
            down = true;
        } else if (down) {
            return "a .. behind a name, which may be a link, can lead anywhere";
        } else if (above <= 1) {
            return "it leads out of the folder";
        } else {
            --above;
        }
    }
    return above == 0 ? "it stands in no folder that is sent" : "";
}

std::string ParentOf(const std::string& path) {
    const size_t slash = path.rfind('/');
    return slash == std::string::npos ? "" : path.substr(0, slash);
}

}  // namespace lumo
