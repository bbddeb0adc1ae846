// `lumo demo`: everything at once on loopback.
#pragma once

#include <CLI/CLI.hpp>

namespace lumo {

void AddDemoCommand(CLI::App& app, int& exitCode);

}  // namespace lumo
