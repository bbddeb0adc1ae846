// The subcommand that runs the relay server.
#pragma once

namespace CLI {
class App;
}

/// `mcu` and its flags. Its run sets `exitCode`: 0 ended by a signal, 1 could not start.
void AddMcuCommand(CLI::App& app, int& exitCode);
