// What `--help` and `lumo help` say.
#pragma once

#include "tools/lumo/ui/command_info.h"

#include <cstddef>
#include <string>

namespace lumo {

std::string HelpText(const CommandInfo& command, size_t width);
/// Columns of what standard output is shown on: what COLUMNS says, the terminal, or 80.
size_t HelpWidth();
/// `text` in lines of at most `width` characters where its words allow it, all but the first behind `margin`.
std::string Wrapped(const std::string& text, const std::string& margin, size_t width);

}  // namespace lumo
