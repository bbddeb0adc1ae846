// `lumo probe`: what stands between this host and others.
#pragma once

#include <CLI/CLI.hpp>

namespace lumo {

void AddProbeCommand(CLI::App& app, int& exitCode);

}  // namespace lumo
