// `lumo whiteboard`: people draw together.
#pragma once

#include <CLI/CLI.hpp>

namespace lumo {

void AddWhiteboardCommand(CLI::App& app, int& exitCode);

}  // namespace lumo
