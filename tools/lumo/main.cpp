// The command-line program.
#include "tools/lumo/commands/commands.h"
#include "tools/lumo/commands/transfer_options.h"
#include "tools/lumo/net/loop.h"
#include "tools/lumo/seal/given_secret.h"

#include <lumomedia/local_mcu.h>

#include <cstdio>
#include <exception>

int main(int argc, char** argv) {
    lumo::TakeGivenSecret(argc, argv);
    int exitCode = lumo::kExitDone;
    lumo::KeepStandardDescriptors();
    SetWideSessions(true);
    SetTcpCongestionControl("bbr");
    try {
        lumo::CCommandLine line(
            "Files, audio, video, desktops and whiteboards, straight from host to host or through relay servers; "
            "and the servers themselves",
            "lumo");
        lumo::CCommand root = line.Root();
        root.NeedsSub();
        lumo::AddSendCommand(root, exitCode);
        lumo::AddReceiveCommand(root, exitCode);
        lumo::AddPublishCommand(root, exitCode);
        lumo::AddSubscribeCommand(root, exitCode);
        lumo::AddWhiteboardCommand(root, exitCode);
        lumo::AddSecretCommand(root, exitCode);
        lumo::AddLoadCommand(root, exitCode);
        lumo::AddProbeCommand(root, exitCode);
        lumo::AddStatsCommand(root, exitCode);
        lumo::AddDumpCommand(root, exitCode);
        lumo::AddMcuCommand(root, exitCode);
        lumo::AddDemoCommand(root, exitCode);
        lumo::AddHelperCommands(root, exitCode);
        lumo::RaiseFileLimit(4096);  // a transfer may hold two thousand files
        const std::vector<const char*> words = lumo::NameMediumOfLink(argc, argv);
        if (!line.Run(static_cast<int>(words.size()), words.data(), exitCode))
            return exitCode == 0 ? lumo::kExitDone : lumo::kExitUsage;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "lumo: %s\n", error.what());
        return lumo::kExitFailed;
    }
    return exitCode;
}
