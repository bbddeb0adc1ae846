// Which names a file from elsewhere may have here.
#pragma once

#include <string>

namespace lumo {

/// Why a name is refused; empty for a good one. A good name is one path element of at most 255 bytes of UTF-8 that
/// prints as it is.
std::string NameProblem(const std::string& name);

/// A name that programs do not pass over and shells do not take for an option: "_" comes before a dot or dash at its
/// beginning.
std::string VisibleName(const std::string& name);

/// The last element of a path; empty when it ends with a separator.
std::string BaseName(const std::string& path);

/// A file that is not whole yet, and the record of what it holds. Both fit a directory whatever the name's length.
std::string PartName(const std::string& name);
std::string MapName(const std::string& name);

/// Text of others on a terminal or in a log line: control characters and broken UTF-8 become '?'.
std::string Printable(const std::string& text);

}  // namespace lumo
