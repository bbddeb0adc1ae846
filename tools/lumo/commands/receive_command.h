// `lumo receive`: the files that somebody sends under a channel number.
#pragma once

#include <CLI/CLI.hpp>

namespace lumo {

void AddReceiveCommand(CLI::App& app, int& exitCode);

}  // namespace lumo
