// `lumo load`: one publisher, many subscribers, what arrived and how late.
#pragma once

#include <CLI/CLI.hpp>

namespace lumo {

void AddLoadCommand(CLI::App& app, int& exitCode);

}  // namespace lumo
