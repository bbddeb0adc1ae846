#include "tools/lumo/commands/commands.h"

#include "tools/lumo/commands/transfer_options.h"
#include "tools/lumo/load/load.h"
#include "tools/lumo/transfer/file_name.h"

#include <nlohmann/json.hpp>

#include <memory>

namespace lumo {
namespace {

constexpr uint32_t kMostSubscribers = 10000;  // a server takes no more of one channel

struct LoadCommand {
    TransferOptions common;
    LoadOptions load;
    const LoadMedium* medium = nullptr;
    std::string file;
    std::string maxLossText = "1%";
    double maxLoss = 0;
};

bool TakeSample(const std::string& file, LoadOptions& options, std::string& problem) {
    if (file.empty()) return true;
    options.sample = CLoadSample::Load(file, problem);
    if (!problem.empty()) return false;
    const CLoadSample::Size size = CLoadSample::Measure(options.sample, options.seconds, problem);
    if (!problem.empty()) problem = file + ": " + problem;
    options.sampleFrames = size.frames;
    options.bytes = size.bytes;
    return problem.empty();
}

int RunLoad(const LoadCommand& command, const LoadOptions& options, CProgressPrinter& printer) {
    CToolLoop loop;
    CLoad load(*command.medium, options, loop,
               [&printer](CServerWatch::News news, CServerWatch& watch) { SayServerNews(news, watch, printer); });
    std::string problem;
    printer.Note("subscribing " + std::to_string(options.subscribers) + " times to channel " +
                 std::to_string(options.route.channel) + " at " + options.route.mcu.Text());
    if (!load.Connect(problem)) {
        printer.Error(Printable(problem));
        return loop.Interrupted() || load.InVain() ? kExitFailed : kExitNobody;
    }
    printer.Note("publishing for " + std::to_string(options.Frames()) + " frames");
    load.Measure();
    const nlohmann::json report = load.Report();
    printer.Event(report);
    if (printer.Mode() != ProgressMode::Json) std::printf("%s\n", LoadText(report).c_str());
    const bool tooMany = report.value("lost_percent", 0.0) > 100 * command.maxLoss;
    if (tooMany) printer.Warn("more than " + command.maxLossText + " of the frames were lost (--max-loss)");
    return loop.Interrupted() || tooMany ? kExitFailed : kExitDone;
}

int Run(const LoadCommand& command) {
    CProgressPrinter printer(CProgressPrinter::Choose(command.common.json, command.common.quiet), stdout);
    LoadOptions options = command.load;
    std::string problem;
    int code = kExitUsage;
    if (!TakeSample(command.file, options, problem))
        code = kExitFailed;
    else if (options.Frames() == 0)
        problem = "that is not one frame";
    else if (uint64_t{options.Frames()} * options.subscribers > CLoadMeter::kMostArrivals)
        problem = "that is more than " + std::to_string(CLoadMeter::kMostArrivals) + " frames to count";
    else if (command.common.ToRoute(static_cast<uint32_t>(RandomID() >> 32) | 1U, options.route, problem, code))
        return RunLoad(command, options, printer);
    printer.Error(Printable(problem));
    return code;
}

void AddKeyFramesTo(CCommand& command, const LoadMedium& medium, LoadOptions& options) {
    command.Add("--key-every NUMBER", options.keyEvery, "Frames from one key frame to the next; 0: none").ShowDefault();
    command.Add("--key-bytes BYTES", options.keyBytes, "Of a key frame")
        .Within(medium.head + kLoadHeadLength, medium.mostBytes)
        .ShowDefault();
}

}  // namespace

void AddLoadCommand(CCommand& root, int& exitCode) {
    CCommand load = root.Sub("load", "Publish to many subscribers in this process, by way of a relay server");
    load.NeedsSub("medium");
    for (const LoadMedium& medium : LoadMedia()) {
        auto command = std::make_shared<LoadCommand>();
        LoadOptions& options = command->load;
        command->medium = &medium;
        options.bytes = medium.bytes;
        options.rate = medium.rate;
        options.keyEvery = medium.keyEvery;
        options.keyBytes = medium.keyBytes;
        CCommand one = load.Sub(medium.name, medium.help, "Media");
        command->common.AddServerTo(one);
        one.Add("--near HOST", command->common.nearMcu, "Subscribe at this server, which relays from --mcu");
        one.Add("--subscribers NUMBER", options.subscribers, "How many").Within(1U, kMostSubscribers).ShowDefault();
        COption bytes = one.Add("--bytes BYTES", options.bytes, "Of a frame");
        bytes.Within(medium.head + kLoadHeadLength, medium.mostBytes).ShowDefault();
        if (medium.keyEvery != 0) AddKeyFramesTo(one, medium, options);
        COption rate = one.Add("--rate NUMBER", options.rate, "Frames a second");
        rate.Between(0.1, 1000.0).ShowDefault();
        if (medium.speaks)
            one.Add("--file FILE", command->file, "An Ogg Opus file to publish, over and over, at its own pace")
                .Excludes(bytes)
                .Excludes(rate);
        one.Add("--seconds SECONDS", options.seconds, "How long to publish").Seconds(0.1, 3600).ShowDefault();
        one.Add("--wait SECONDS", options.waitSeconds, "Until all subscribers must hear the publisher")
            .Seconds(0.1, 3600)
            .ShowDefault();
        one.Add("--max-loss SHARE", command->maxLossText, "Ends with code 1 when a larger share of the frames was lost")
            .Check([](const std::string& text) {
                return ParseShare(text) < 0 ? "not a share such as 2% or 0.02: " + text : "";
            })
            .ShowDefault();
        one.Example(std::string("lumo load ") + medium.name + " --mcu relay.example --subscribers 1000",
                    "One publisher, so many subscribers in one process, and what arrived how late");
        one.Exits({{kExitDone, "measured"},
                   {kExitFailed, "failed, interrupted, or more was lost than --max-loss"},
                   {kExitNobody, "not all subscribers have heard the publisher"}});
        one.OnRun([command, &exitCode] {
            command->maxLoss = ParseShare(command->maxLossText);
            exitCode = Run(*command);
        });
    }
}

}  // namespace lumo
