// The manual pages and the settings of a package, made of the table of commands.
#pragma once

#include "tools/lumo/ui/command_info.h"

#include <string>
#include <vector>

namespace lumo {

/// What stands at the edge of a manual page.
struct ManualEdge {
    std::string version;  ///< "lumo 0.1.0"
    std::string date;     ///< "2030-12-31", or nothing
};

/// "lumo-publish-audio".
std::string ManualName(const CommandInfo& command);
/// The page of one command, for man.
std::string ManualPage(const CommandInfo& command, const ManualEdge& edge);
/// A file of settings in which every option of a command stands, behind a mark that makes it a comment.
std::string SettingsTemplate(const CommandInfo& command);

}  // namespace lumo
