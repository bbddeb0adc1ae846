// The subcommands of `lumo`. Each sets `exitCode` when it runs.
#pragma once

#include "tools/lumo/commands/version_text.h"
#include "tools/lumo/ui/command_line.h"

#include <vector>

namespace lumo {

/// `lumo send`: files to everybody who asks for them at a relay server.
void AddSendCommand(CCommand& root, int& exitCode);

/// `lumo receive`: the files that somebody sends under a channel number.
void AddReceiveCommand(CCommand& root, int& exitCode);

/// `lumo secret`: 16 random bytes that frames are sealed with.
void AddSecretCommand(CCommand& root, int& exitCode);

/// `lumo publish` and `lumo subscribe`: live streams.
void AddPublishCommand(CCommand& root, int& exitCode);
void AddSubscribeCommand(CCommand& root, int& exitCode);
/// The words of a line, and after `subscribe` with a link the medium that the link names, unless it stands there.
std::vector<const char*> NameMediumOfLink(int argc, const char* const* argv);

/// `lumo whiteboard`: people draw together.
void AddWhiteboardCommand(CCommand& root, int& exitCode);

/// `lumo load`: one publisher, many subscribers, what arrived and how late.
void AddLoadCommand(CCommand& root, int& exitCode);

/// `lumo stats`: live links as a table that refreshes.
void AddStatsCommand(CCommand& root, int& exitCode);

/// `lumo dump`: captured datagrams and messages in words.
void AddDumpCommand(CCommand& root, int& exitCode);

/// `lumo probe`: what stands between this host and others.
void AddProbeCommand(CCommand& root, int& exitCode);

/// `lumo mcu`: a relay server. Its exit code: 0 ended by a signal, 1 could not start.
void AddMcuCommand(CCommand& root, int& exitCode);

/// `lumo demo`: everything at once on loopback.
void AddDemoCommand(CCommand& root, int& exitCode);

/// `lumo impair` and `lumo connect-proxy`: the demo's helper processes, which are also good for trying things out.
void AddHelperCommands(CCommand& root, int& exitCode);

/// `lumo help` and `lumo completion`: what the table of all commands says.
void AddHelpCommands(CCommand& root, const CCommandLine& line, const BuildVersion& build, int& exitCode);

/// Everything: what main() runs, and what the tests walk.
void AddAllCommands(CCommandLine& line, const BuildVersion& build, int& exitCode);

/// `--session`: whether reliable links over UDP are wide, as they are unless it says otherwise. `--congestion`: what
/// TCP connections ask for.
void AddTransportOptions(CCommand& command);

/// "2%" or "0.02"; negative for anything but a share from 0 to 1.
double ParseShare(const std::string& text);

}  // namespace lumo
