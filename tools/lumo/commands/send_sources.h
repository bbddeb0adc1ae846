// What `lumo send` was told to send.
#pragma once

#include "tools/lumo/transfer/tree_source.h"

#include <memory>
#include <string>
#include <vector>

namespace lumo {

struct SendWishes {
    std::vector<std::string> files;  ///< and folders; "-": standard input
    std::string name = "stdin";      ///< of what comes from there
    std::string text{};              ///< "-": that from standard input; empty: none

    bool Empty() const { return files.empty() && text.empty(); }
};

using Sources = std::vector<std::unique_ptr<IFileSource>>;

/// False, with `problem`, when any of it cannot be sent.
bool OpenSources(const SendWishes& wishes, Sources& sources, LeftOut& leftOut, std::string& problem);

/// Names by which receivers tell paths apart: the last element of each, and where these are the same, or one would be
/// in the place of another's folder, also the elements before them. False, with `problem`, when none can.
bool NameApart(const std::vector<std::string>& paths, std::vector<std::string>& names, std::string& problem);

}  // namespace lumo
