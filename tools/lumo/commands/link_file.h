// Files that keep a link, and the terminal that is asked for one.
#pragma once

#include "tools/lumo/net/share_link.h"

#include <string>

namespace lumo {

enum class LinkFile { Read, Absent, Unusable };

/// The link in a file, which nobody else may read. Wipe `text`.
LinkFile ReadLinkFile(const std::string& path, std::string& text, std::string& problem);
/// Makes a file for it, which there must not be yet.
bool KeepLinkFile(const std::string& path, const ShareLink& link, std::string& problem);
/// From standard input; a terminal is asked, and does not show it. Wipe the result.
std::string AskForLink();
/// Writes all of it, past buffers that would keep it.
void WriteOut(int fd, const std::string& text);

}  // namespace lumo
