// Which build of the program this is.
#pragma once

#include <string>

namespace lumo {

struct BuildVersion {
    const char* version;
    const char* commit;  ///< empty: nobody knows
    const char* date;    ///< of the commit
};

/// This program's; its code is written by every build.
BuildVersion ThisBuild();

/// What `--version` says: version, commit, and what it can do, with the libraries that do it.
std::string VersionText(const BuildVersion& build);

}  // namespace lumo
