// The command-line program.
#include "tools/lumo/commands/commands.h"
#include "tools/lumo/commands/transfer_options.h"
#include "tools/lumo/net/loop.h"

#if __has_include("server/mcu_command.h")
#include "server/mcu_command.h"
#define LUMO_HAS_MCU_COMMAND
#endif

#include <CLI/CLI.hpp>

#include <cstdio>
#include <exception>

int main(int argc, char** argv) {
    int exitCode = lumo::kExitDone;
    lumo::KeepStandardDescriptors();
    try {
        CLI::App app(
            "Files, audio, video, desktops and whiteboards, straight from host to host or through relay servers; "
            "and the servers themselves",
            "lumo");
        app.require_subcommand(1);
        lumo::AddSendCommand(app, exitCode);
        lumo::AddReceiveCommand(app, exitCode);
        lumo::AddPublishCommand(app, exitCode);
        lumo::AddSubscribeCommand(app, exitCode);
        lumo::AddWhiteboardCommand(app, exitCode);
        lumo::AddLoadCommand(app, exitCode);
        lumo::AddProbeCommand(app, exitCode);
        lumo::AddDumpCommand(app, exitCode);
#ifdef LUMO_HAS_MCU_COMMAND
        AddMcuCommand(app, exitCode);
#endif
        lumo::AddDemoCommand(app, exitCode);
        lumo::AddHelperCommands(app, exitCode);
        lumo::RaiseFileLimit();
        try {
            app.parse(argc, argv);
        } catch (const CLI::ParseError& error) {
            return app.exit(error) == 0 ? lumo::kExitDone : lumo::kExitUsage;
        }
    } catch (const std::exception& error) {
        std::fprintf(stderr, "lumo: %s\n", error.what());
        return lumo::kExitFailed;
    }
    return exitCode;
}
