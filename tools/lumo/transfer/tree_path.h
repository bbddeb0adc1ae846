// Paths and links of a tree that is sent: which may exist at a receiver.
#pragma once

#include <string>

namespace lumo {

/// Why a path is refused; empty for a good one: good names with a slash between each two.
std::string PathProblem(const std::string& path);

/// Why a link at `path` is refused; empty for one that leads, whatever other such links stand in the tree, to nowhere
/// but into it. The tree is what the path's first element names.
std::string LinkProblem(const std::string& path, const std::string& target);

/// The path of the folder that holds it; empty: that where the tree is.
std::string ParentOf(const std::string& path);

}  // namespace lumo
