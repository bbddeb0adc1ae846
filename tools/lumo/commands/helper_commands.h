// `lumo impair` and `lumo connect-proxy`: the demo's helper processes, which are also good for trying things out.
#pragma once

#include <CLI/CLI.hpp>

namespace lumo {

void AddHelperCommands(CLI::App& app, int& exitCode);

/// "2%" or "0.02"; negative for anything but a share from 0 to 1.
double ParseShare(const std::string& text);

}  // namespace lumo
