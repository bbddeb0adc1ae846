// The subcommands of `lumo`, but the relay server's. Each sets `exitCode` when it runs.
#pragma once

#include <CLI/CLI.hpp>

namespace lumo {

/// `lumo send`: files to everybody who asks for them at a relay server.
void AddSendCommand(CLI::App& app, int& exitCode);

/// `lumo receive`: the files that somebody sends under a channel number.
void AddReceiveCommand(CLI::App& app, int& exitCode);

/// `lumo publish` and `lumo subscribe`: live streams.
void AddPublishCommand(CLI::App& app, int& exitCode);
void AddSubscribeCommand(CLI::App& app, int& exitCode);

/// `lumo whiteboard`: people draw together.
void AddWhiteboardCommand(CLI::App& app, int& exitCode);

/// `lumo load`: one publisher, many subscribers, what arrived and how late.
void AddLoadCommand(CLI::App& app, int& exitCode);

/// `lumo dump`: captured datagrams and messages in words.
void AddDumpCommand(CLI::App& app, int& exitCode);

/// `lumo probe`: what stands between this host and others.
void AddProbeCommand(CLI::App& app, int& exitCode);

/// `lumo demo`: everything at once on loopback.
void AddDemoCommand(CLI::App& app, int& exitCode);

/// `lumo impair` and `lumo connect-proxy`: the demo's helper processes, which are also good for trying things out.
void AddHelperCommands(CLI::App& app, int& exitCode);

/// "2%" or "0.02"; negative for anything but a share from 0 to 1.
double ParseShare(const std::string& text);

}  // namespace lumo
