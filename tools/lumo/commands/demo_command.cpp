#include "tools/lumo/commands/commands.h"

#include "tools/lumo/commands/transfer_options.h"
#include "tools/lumo/demo/demo.h"

#include <memory>

namespace lumo {

void AddDemoCommand(CCommand& root, int& exitCode) {
    auto options = std::make_shared<DemoOptions>();
    CCommand demo = root.Sub(
        "demo", "Send files and streams and draw on whiteboards over loopback in every way there is, and compare");
    demo.Add("FILE", options->file, "What to send; random bytes unless given").ExistingFile();
    demo.Add("--loss SHARE", options->loss, "Share that the lossy path loses each way")
        .ShowDefault()
        .Check([](const std::string& text) { return ParseShare(text) < 0 ? "not a share such as 2%" : ""; });
    demo.Add("--delay MILLISECONDS", options->delayMs, "What it adds each way").Within(0, 1000);
    demo.Add("--seed NUMBER", options->seed, "Which datagrams it loses").ShowDefault();
    demo.Example("lumo demo",
                 "Random bytes, samples of audio and video, pictures and boards, and a table of what arrived");
    demo.Example("lumo demo holiday.mkv --loss 5%", "That file, and a path that loses every twentieth datagram");
    demo.Exits({{kExitDone, "all of it arrived as it was sent"}, {kExitFailed, "something did not"}});
    demo.OnRun([options, &exitCode] { exitCode = RunDemo(*options) ? kExitDone : kExitFailed; });
}

}  // namespace lumo
