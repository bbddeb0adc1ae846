// `lumo dump`: captured datagrams and messages in words.
#pragma once

#include <CLI/CLI.hpp>

namespace lumo {

void AddDumpCommand(CLI::App& app, int& exitCode);

}  // namespace lumo
