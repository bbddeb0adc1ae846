// The command-line program.
#include "platform/lumobase/app_log.h"
#include "tools/lumo/commands/commands.h"
#include "tools/lumo/commands/transfer_options.h"
#include "tools/lumo/net/loop.h"
#include "tools/lumo/seal/given_secret.h"
#include "tools/lumo/ui/completion.h"

#include <lumomedia/local_mcu.h>

#include <cstdio>
#include <exception>
#include <string_view>

int main(int argc, char** argv) {
    lumo::TakeGivenSecret(argc, argv);
    int exitCode = lumo::kExitDone;
    lumo::KeepStandardDescriptors();
    SetWideSessions(true);
    SetTcpCongestionControl("bbr");
    if (!AppLog().Problem().empty()) return lumo::kExitUsage;  // the library has said so
    try {
        lumo::CCommandLine line(
            "Files, audio, video, desktops and whiteboards, straight from host to host or through relay servers; "
            "and the servers themselves",
            "lumo");
        lumo::AddAllCommands(line, lumo::ThisBuild(), exitCode);
        if (argc > 1 && std::string_view(argv[1]) == lumo::kCompletionRequest) {
            std::fputs(lumo::CompletionAnswer(line.Table(), {argv + 2, argv + argc}).c_str(), stdout);
            return lumo::kExitDone;
        }
        line.SetUserSettings(lumo::UserSettingsPath());
        lumo::RaiseFileLimit(4096);  // a transfer may hold two thousand files
        const std::vector<const char*> words = lumo::NameMediumOfLink(argc, argv);
        line.Run(static_cast<int>(words.size()), words.data(), exitCode);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "lumo: %s\n", error.what());
        return lumo::kExitFailed;
    }
    return exitCode;
}
