#include "tools/lumo/commands/commands.h"

#include "tools/lumo/commands/send_sources.h"
#include "tools/lumo/commands/transfer_options.h"
#include "tools/lumo/net/send_paths.h"
#include "tools/lumo/stats/stats_file.h"
#include "tools/lumo/transfer/file_name.h"
#include "tools/lumo/transfer/send_engine.h"
#include "tools/lumo/ui/entry_counts.h"

#include <nlohmann/json.hpp>

#include <memory>
#include <utility>

namespace lumo {
namespace {

struct SendCommand {
    TransferOptions common;
    SendWishes what;
    uint32_t receivers = 0;  ///< 0: all who come
    bool keep = false;
    uint64_t rate = 0;
};

constexpr const char* kStrangers = "somebody is there of whom nothing opens, so nothing is sent: is it the right link?";

std::string StayText(uint64_t milliseconds) {
    return "here " + DurationText(static_cast<double>(milliseconds) / 1000) + " more for others, ^C ends";
}

std::string CompleteText(uint32_t receivers) {
    return Counted(receivers, "receiver") + (receivers == 1 ? " has" : " have") + " the whole of it, verified";
}

/// Tells of each one who is served, once there is nobody left to serve.
void TellStay(const CSendEngine& engine, uint64_t now, uint32_t& told, CProgressPrinter& printer) {
    if (!engine.Stays() || engine.Complete() == told) return;
    told = engine.Complete();
    const uint64_t seconds = (engine.Progress(now).stayMs.value_or(0) + 999) / 1000;
    printer.Note(CompleteText(told) + "; this stays " + std::to_string(seconds) + " s for others, ^C ends it");
    printer.Event({{"event", "staying"}, {"complete", told}, {"seconds", seconds}});
}

/// Of several files, those of which every block has left.
void TellSent(const CSendEngine& engine, size_t& told, CProgressPrinter& printer) {
    for (; engine.Files().size() > 1 && told < engine.SentFiles().size(); ++told) {
        const IFileSource& file = *engine.Files()[engine.SentFiles()[told]];
        printer.Note(Printable(file.Name()) + "  " + BytesText(static_cast<double>(file.Size())) + "  sent");
        printer.Event({{"event", "file_sent"}, {"name", file.Name()}, {"bytes", file.Size()}});
    }
}

EntryCounts CountsOf(const CSendEngine& engine) {
    EntryCounts counts;
    for (const auto& file : engine.Files()) counts.Add(file->Traits().kind, file->Size());
    return counts;
}

ProgressView ViewOf(const CSendEngine& engine, const SendProgress& progress, const CSendPaths& paths) {
    ProgressView view;
    const bool preparing = progress.state == SendState::Preparing;
    view.words = preparing                ? "hashing"
                 : progress.stayMs        ? StayText(*progress.stayMs)
                 : progress.alive > 0     ? "sending"
                 : paths.WaitsForServer() ? "waiting for the relay server"
                                          : "waiting for receivers";
    view.done = preparing ? progress.hashedBytes : progress.leastBytes;
    view.total = progress.totalBytes;
    view.moved = view.done;
    view.rests = !preparing && (progress.stayMs || progress.alive == 0);
    const IFileSource& current = *engine.Files()[engine.CurrentFile()];
    const uint64_t left = engine.LeftOfCurrent();
    if (engine.Files().size() > 1 && progress.unfinished > 0 && left < current.Size())
        view.files.push_back({Printable(current.Name()), left, current.Size()});
    return view;
}

nlohmann::json DetailsOf(const SendProgress& progress, const CSendPaths& paths) {
    return {{"sent_bytes", progress.sentBytes},
            {"reconnects", paths.Remakes()},
            {"receivers",
             {{"alive", progress.alive},
              {"unfinished", progress.unfinished},
              {"complete", progress.complete},
              {"failed", progress.failed}}}};
}

/// Which ways carried the files: "1 direct 10.0.1.2:40112, 2 relay 10.0.0.1:7000".
std::string PathsOf(const SendProgress& progress, const CSendPaths& paths) {
    std::string text;
    for (const size_t lane : {kDirectLane, kRelayLane}) {
        const uint32_t count = progress.completeByLane.at(lane);
        if (count == 0) continue;
        text += (text.empty() ? "" : ", ") + std::to_string(count) + " " + paths.PathText(lane);
    }
    return text;
}

int Finish(const SendCommand& command, const CSendEngine& engine, const CSendPaths& paths, CServerWatch& watch,
           bool interrupted, CProgressPrinter& printer) {
    const SendProgress progress = engine.Progress(CToolLoop::Now());
    int code = kExitFailed;
    std::string result = "failed";
    if (engine.State() == SendState::Done || (interrupted && (command.keep || progress.stayMs))) {
        code = kExitDone;
        result = "done";
        if (engine.Files().size() > 1) printer.Note("in all " + CountsOf(engine).Text());
        printer.Note(progress.complete == 0 ? "nobody has received all of it"
                                            : CompleteText(progress.complete) + ": " + PathsOf(progress, paths));
    } else if (interrupted) {
        result = "interrupted";
        printer.Error("interrupted");
    } else if (engine.State() == SendState::NobodyThere) {
        code = kExitNobody;
        result = "nobody";
        const bool published = watch.EverServed() || (paths.EverClaimed() && !watch.IsComplaint());
        printer.Error(published ? "nobody came to receive" : Printable(watch.Conclude().Text()));
    } else if (watch.InVain()) {
        printer.Error(Printable(watch.Conclude().Text()));
    } else {
        printer.Error(Printable(engine.Problem()));
    }
    printer.Event({{"event", "end"},
                   {"result", result},
                   {"exit", code},
                   {"complete", progress.complete},
                   {"offered", CountsOf(engine).Json()},
                   {"paths", PathsOf(progress, paths)},
                   {"failed", progress.failed},
                   {"server", watch.Trouble().Name()},
                   {"sent_bytes", progress.sentBytes}});
    return code;
}

/// Takes some of what receivers say: no flood of it, whoever makes it up, keeps blocks from leaving. True when more
/// waits.
bool Hear(CSendPaths& paths, CStreamOpener& opener, CSendEngine& engine, uint64_t now) {
    constexpr int kFramesPerTurn = 100;
    std::string frame;
    size_t lane = 0;
    for (int i = 0; i < kFramesPerTurn; ++i) {
        if (!paths.Pop(frame, lane)) return false;
        char* data = frame.data();
        size_t length = frame.size();
        if (!opener.Open(data, length, now))
            engine.OnStranger(now, lane);
        else if (engine.OnFrame(data, length, now, lane))
            paths.OnSignOfLife(lane, now);
    }
    return true;
}

int Serve(const SendCommand& command, const RelayRoute& route, Sources sources, CToolLoop& loop,
          CProgressPrinter& printer, CStatsFile& stats) {
    SendOptions options;
    options.receivers = command.receivers;
    options.keep = command.keep;
    options.waitMs = command.common.WaitMs();
    options.bytesPerSecond = command.rate;
    options.sealed = route.secret.IsSet();
    CPeerHost host(command.common.ToPeers(route, SenderUser(route.channel)));
    if (!host.Ok()) {
        printer.Error("cannot open a UDP endpoint");
        return kExitFailed;
    }
    CSendPaths paths(command.common.Path(), route, host);
    CSendEngine engine(RandomID(), std::move(sources), options);
    // It takes any start: only who names this transfer counts, and no recording can.
    CStreamOpener opener(route.secret, {SEAL_FILE, SEAL_UP, route.channel}, true);
    CServerWatch watch(route, LinkMedium::File, CServerWatch::Role::Publisher);
    bool strange = false;
    uint32_t told = 0;
    size_t toldFiles = 0;
    while (!engine.Over() && !loop.Interrupted() && !watch.InVain()) {
        const uint64_t now = CToolLoop::Now();
        const bool more = Hear(paths, opener, engine, now);
        const auto fresh = paths.Poll(now);
        for (size_t lane = 0; lane < kMaxLanes; ++lane) {
            if (fresh.at(lane)) engine.OnLinkReady(lane);
        }
        SayServerNews(watch.Poll(now, !paths.WaitsForServer(), paths.EverClaimed()), watch, printer);
        if (!std::exchange(strange, IsInVain(opener.Verdict(now))) && strange) printer.Note(kStrangers);
        const uint64_t wait = engine.Tick(now, paths.Links());
        TellSent(engine, toldFiles, printer);
        TellStay(engine, now, told, printer);
        if (printer.Due(now)) {
            const SendProgress progress = engine.Progress(now);
            printer.Show(now, ViewOf(engine, progress, paths), DetailsOf(progress, paths));
        }
        if (stats.Due(now)) stats.Write(now, DetailsOf(engine.Progress(now), paths));
        loop.Wait(paths.WakeFd(), more ? 0 : wait);
        paths.Rest();
    }
    stats.Write(CToolLoop::Now(), DetailsOf(engine.Progress(CToolLoop::Now()), paths));
    const bool failed = engine.State() == SendState::Failed;
    const ByeReason reason = loop.Interrupted() && !engine.Stays() ? ByeReason::Interrupted
                             : failed                              ? ByeReason::Failed
                                                                   : ByeReason::Done;
    const LaneLinks links = paths.Links();
    SayGoodbye(engine, links, paths, reason, loop, {links[kRelayLane], links[kDirectLane]});
    return Finish(command, engine, paths, watch, loop.Interrupted(), printer);
}

void TellLeftOut(const LeftOut& leftOut, CProgressPrinter& printer) {
    for (const auto& [path, problem] : leftOut) {
        printer.Note("left out: " + Printable(path) + ": " + problem);
        printer.Event({{"event", "left_out"}, {"path", Printable(path)}, {"problem", problem}});
    }
}

int Run(const SendCommand& command) {
    CProgressPrinter printer(CProgressPrinter::Choose(command.common.json, command.common.quiet), stdout);
    ShareLink link;
    RelayRoute route;
    Sources sources;
    std::string problem;
    int code = kExitUsage;
    if (command.what.Empty()) {
        printer.Error("nothing to send: name files or folders, or give --text");
        return code;
    }
    const LinkOptions& links = command.common.link;
    if (links.Make(LinkMedium::File, command.common.mcu, link, problem, code) &&
        command.common.ToRoute(link, route, problem, code)) {
        code = kExitFailed;
        CToolLoop loop;
        LeftOut leftOut;
        if (OpenSources(command.what, sources, leftOut, problem)) {
            const std::string& path = command.common.path;
            CStatsFile stats(command.common.stats, "send", printer);
            if (!stats.Ok()) return kExitFailed;
            TellLeftOut(leftOut, printer);
            links.HandOn(link, path.empty() ? "" : " --path " + path, command.common.quiet, printer);
            return Serve(command, route, std::move(sources), loop, printer, stats);
        }
    }
    printer.Error(Printable(problem));
    return code;
}

}  // namespace

void AddSendCommand(CCommand& root, int& exitCode) {
    auto command = std::make_shared<SendCommand>();
    CCommand send = root.Sub("send", "Send files and folders through a relay server to everybody who asks");
    send.Add("FILE", command->what.files, "Files to send, and folders with all that is in them; - is standard input");
    send.Add("--text WORDS", command->what.text,
             "Words for the receivers' terminals, 64 KiB at most; - reads them from standard input, where no other "
             "user of this machine sees them");
    command->common.AddTo(send, 600, false);
    command->common.AddStatsTo(send);
    command->common.link.AddMakerTo(send);
    send.Add("--receivers NUMBER", command->receivers,
             "End when so many have everything. Unless given it stays, once all who came have it, 60 s for others, "
             "or --wait where that is less")
        .Within(1, 1000000);
    send.AddFlag("--keep", command->keep, "Serve on until interrupted");
    send.Add("--rate SIZE", command->rate, "At most so many bytes a second, such as 5M")
        .InUnits({{"k", 1000}, {"m", 1000000}, {"g", 1000000000}});
    send.Add("--name NAME", command->what.name, "Name of what comes from standard input").ShowDefault();
    send.Example("lumo send holiday.mkv --mcu relay.example", "Shows the line that your friend types");
    send.Example("lumo send photos notes.txt", "A folder and a file; LUMO_MCU names the server");
    send.Example("lumo send --text 'See you at 8'", "Words, which the receiver's terminal shows");
    send.Example("tar c photos | lumo send - --name photos.tar --receivers 3", "A pipe, for three friends");
    send.OnRun([command, &exitCode] { exitCode = Run(*command); });
}

}  // namespace lumo
