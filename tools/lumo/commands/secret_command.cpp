#include "tools/lumo/commands/commands.h"

#include "tools/lumo/commands/link_file.h"
#include "tools/lumo/commands/transfer_options.h"
#include "tools/lumo/seal/given_secret.h"

#include <unistd.h>

namespace lumo {

void AddSecretCommand(CCommand& root, int& exitCode) {
    CCommand secret = root.Sub("secret", "Print a new secret, for LUMO_SECRET or the end of a link");
    secret.Example("export LUMO_SECRET=$(lumo secret)", "One for scripts, which name a channel by its number");
    secret.Exits({{kExitDone, "printed"}, {kExitFailed, kNoRandomness}});
    secret.OnRun([&exitCode] {
        KeepMemoryPrivate();
        CSealSecret drawn;
        exitCode = drawn.Draw() ? kExitDone : kExitFailed;
        if (exitCode != kExitDone) return CProgressPrinter(ProgressMode::Plain, stdout).Error(kNoRandomness);
        char text[kSealSecretLength + 1];
        drawn.GetText(text);
        std::string line = std::string(text, kSealSecretLength) + "\n";
        WriteOut(STDOUT_FILENO, line);
        CSealSecret::Wipe(text, sizeof text);
        WipeText(line);
    });
}

}  // namespace lumo
