#include "tools/lumo/commands/commands.h"

#include "tools/lumo/commands/transfer_options.h"
#include "tools/lumo/demo/demo.h"

#include <memory>

namespace lumo {

void AddDemoCommand(CLI::App& app, int& exitCode) {
    auto options = std::make_shared<DemoOptions>();
    CLI::App* demo = app.add_subcommand(
        "demo", "Send files and streams and draw on whiteboards over loopback in every way there is, and compare");
    demo->add_option("FILE", options->file, "What to send; random bytes unless given")->check(CLI::ExistingFile);
    demo->add_option("--loss", options->loss, "Share that the lossy path loses each way")
        ->capture_default_str()
        ->check([](const std::string& text) { return ParseShare(text) < 0 ? "not a share such as 2%" : ""; });
    demo->add_option("--delay", options->delayMs, "Milliseconds that it adds each way")->check(CLI::Range(0, 1000));
    demo->add_option("--seed", options->seed, "Which datagrams it loses")->capture_default_str();
    demo->callback([options, &exitCode] { exitCode = RunDemo(*options) ? kExitDone : kExitFailed; });
}

}  // namespace lumo
