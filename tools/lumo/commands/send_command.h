// `lumo send`: files to everybody who asks for them at a relay server.
#pragma once

#include <CLI/CLI.hpp>

namespace lumo {

void AddSendCommand(CLI::App& app, int& exitCode);

}  // namespace lumo
