#include "tools/lumo/commands/stream_commands.h"
#include "tools/lumo/commands/transfer_options.h"
#include "tools/lumo/media/audio_links.h"
#include "tools/lumo/media/audio_recorder.h"
#include "tools/lumo/media/wall_clock.h"
#include "tools/lumo/net/loop.h"
#include "tools/lumo/transfer/file_name.h"

#include <cerrno>
#include <memory>

namespace lumo {
namespace {

constexpr size_t kInboxBytes = 4 * 1024 * 1024;

struct SubscribeCommand {
    TransferOptions common;
    std::string channel;
    std::string out;
    double seconds = 0;

    uint64_t Ms() const { return static_cast<uint64_t>(seconds * 1000); }
};

struct CloseFile {
    void operator()(std::FILE* file) const {
        if (file != stdout) static_cast<void>(std::fclose(file));
    }
};
using FilePtr = std::unique_ptr<std::FILE, CloseFile>;

bool OpenOut(const SubscribeCommand& command, FilePtr& file, std::string& problem) {
    if (command.out.empty()) return true;
    file.reset(command.out == "-" ? stdout : std::fopen(command.out.c_str(), "wbe"));
    if (!file) problem = command.out + ": " + ErrorText(errno);
    return file != nullptr;
}

nlohmann::json Details(const AudioReport& report, int remakes) {
    return {{"packets", report.packets},
            {"lost", report.lost},
            {"late", report.late},
            {"jitter_ms", report.jitterMs},
            {"delay_p50_ms", report.delayP50Ms},
            {"delay_p99_ms", report.delayP99Ms},
            {"reconnects", remakes}};
}

std::string Summary(const AudioReport& report, double seconds) {
    char text[200];
    const double whole = static_cast<double>(report.packets + report.lost);
    std::snprintf(text, sizeof text,
                  "%llu packets, %.1f kb/s, %.2f %% lost, jitter %.2f ms, delay %.2f ms (p99 %.2f ms)",
                  static_cast<unsigned long long>(report.packets),
                  seconds > 0 ? static_cast<double>(report.bytes) * 8 / 1000 / seconds : 0,
                  whole > 0 ? 100 * static_cast<double>(report.lost) / whole : 0, report.jitterMs, report.delayP50Ms,
                  report.delayP99Ms);
    return text;
}

int Subscribe(const SubscribeCommand& command, const RelayRoute& route, std::FILE* file, CToolLoop& loop,
              CProgressPrinter& printer) {
    constexpr uint64_t kTurnMs = 50;
    const PathChoice path = command.common.path == "p2p" ? PathChoice::P2P : PathChoice::Relay;
    CPeerHost host(command.common.ToPeers(route, static_cast<uint32_t>(RandomID() >> 32) | 1U));
    if (!host.Ok()) {
        printer.Error("cannot open a UDP endpoint");
        return kExitFailed;
    }
    std::unique_ptr<COggOpusWriter> writer(file ? new COggOpusWriter(file) : nullptr);
    CAudioRecorder recorder(writer.get());
    CWake wake;
    CInbox inbox(wake, kMaxAudioFrame, kInboxBytes);
    CAudioSubscribeLink link(path, route, inbox);
    const uint64_t started = CToolLoop::Now();
    uint64_t begun = 0, heard = started;
    std::string frame;
    bool nobody = false;
    printer.Note("waiting for channel " + std::to_string(route.channel));
    while (!recorder.Ended() && !loop.Interrupted() && !nobody && (!writer || writer->Good())) {
        const uint64_t now = CToolLoop::Now();
        host.Poll(now);
        if (!UsesPeers(path) || host.Ready() || link.IsUp()) link.Poll(now);
        while (inbox.Pop(frame)) {
            if (!recorder.OnFrame(frame.data(), frame.size(), WallClockUs())) continue;
            link.OnSignOfLife(now);
            heard = now;
            if (begun == 0) begun = now;
        }
        recorder.Tick(WallClockUs());
        const AudioReport report = recorder.Report();
        if (printer.Due(now))
            printer.Show(now, {begun == 0 ? "waiting" : "listening", report.bytes, 0, report.bytes,
                               Details(report, link.Remakes())});
        nobody = now - heard > command.common.WaitMs();
        if (command.seconds > 0 && begun != 0 && now - begun >= command.Ms()) break;
        loop.Wait(wake.Fd(), kTurnMs);
        wake.Rest();
    }
    recorder.Finish();
    link.Close();
    const AudioReport report = recorder.Report();
    const double seconds = begun == 0 ? 0 : static_cast<double>(CToolLoop::Now() - begun) / 1000;
    const bool written = !writer || writer->Good();
    nlohmann::json end = Details(report, link.Remakes());
    end["event"] = "end";
    end["seconds"] = seconds;
    end["bytes"] = report.bytes;
    printer.Event(end);
    if (!written) printer.Error("cannot write " + Printable(command.out) + ": " + ErrorText(errno));
    if (report.packets == 0) printer.Error("nothing was heard");
    if (report.packets > 0) printer.Note(Summary(report, seconds));
    if (!written) return kExitFailed;
    return report.packets > 0 ? kExitDone : kExitNobody;
}

int Run(const SubscribeCommand& command) {
    std::FILE* json = command.out == "-" ? stderr : stdout;
    CProgressPrinter printer(CProgressPrinter::Choose(command.common.json, command.common.quiet), json);
    const uint32_t channel = ParseChannel(command.channel);
    RelayRoute route;
    FilePtr file;
    std::string problem = channel == 0 ? "the channel must be a number from 1 to 4294967295" : "";
    int code = kExitUsage;
    if (problem.empty() && command.common.ToRoute(channel, route, problem, code)) {
        code = kExitFailed;
        CToolLoop loop;
        if (OpenOut(command, file, problem)) return Subscribe(command, route, file.get(), loop, printer);
    }
    printer.Error(Printable(problem));
    return code;
}

}  // namespace

void AddSubscribeCommand(CLI::App& app, int& exitCode) {
    auto command = std::make_shared<SubscribeCommand>();
    command->common.path = "relay";
    command->common.waitSeconds = 60;
    CLI::App* subscribe = app.add_subcommand("subscribe", "Take part in a live stream")->require_subcommand(1);
    CLI::App* audio = subscribe->add_subcommand("audio", "Hear an audio channel");
    audio->add_option("CHANNEL", command->channel, "The number that `lumo publish` has shown")->required();
    command->common.AddServerTo(*audio);
    audio->add_option("--near", command->common.nearMcu,
                      "A nearer server that relays from the publisher's: HOST. Both must listen on the same port");
    audio
        ->add_option("--path", command->common.path,
                     "relay, or p2p: straight from the publisher's host (--peers there)")
        ->check(CLI::IsMember({"relay", "p2p"}))
        ->capture_default_str();
    audio->add_option("-o,--out", command->out, "An Ogg Opus file to write; - is standard output");
    audio->add_option("--seconds", command->seconds, "End after so long")->check(SecondsBetween(0.1, 1e9));
    audio->add_option("--wait", command->common.waitSeconds, "Seconds to wait while nothing is heard")
        ->check(SecondsBetween(0.1, 1e9))
        ->capture_default_str();
    audio->callback([command, &exitCode] { exitCode = Run(*command); });
}

}  // namespace lumo
