// `lumo publish` and `lumo subscribe`: live streams.
#pragma once

#include <CLI/CLI.hpp>

namespace lumo {

void AddPublishCommand(CLI::App& app, int& exitCode);
void AddSubscribeCommand(CLI::App& app, int& exitCode);

}  // namespace lumo
