#include "tools/lumo/commands/commands.h"

#include "tools/lumo/commands/arrivals.h"
#include "tools/lumo/commands/transfer_options.h"
#include "tools/lumo/net/receive_paths.h"
#include "tools/lumo/net/sealed_link.h"
#include "tools/lumo/stats/stats_file.h"
#include "tools/lumo/transfer/error_text.h"
#include "tools/lumo/transfer/file_folder.h"
#include "tools/lumo/transfer/file_name.h"
#include "tools/lumo/transfer/file_output.h"
#include "tools/lumo/transfer/receive_engine.h"

#include <lumomedia/statistics.h>
#include <nlohmann/json.hpp>

#include <fcntl.h>

#include <cerrno>
#include <memory>
#include <utility>

namespace lumo {
namespace {

struct ReceiveCommand {
    TransferOptions common;
    std::string out = ".";
    FolderRules rules;

    bool ToStdout() const { return out == "-"; }
};

std::unique_ptr<IFileFolder> OpenFolder(const ReceiveCommand& command, std::string& problem) {
    if (command.ToStdout()) return std::make_unique<CSpoolFolder>();
    const auto open = [](const std::string& path) {
        return CFileDescriptor(::open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    };
    FolderRules rules = command.rules;
    std::string path = command.out;
    CFileDescriptor folder = open(path);
    if (!folder && (errno == ENOENT || errno == ENOTDIR) && !BaseName(path).empty()) {
        rules.name = BaseName(path);
        path.resize(path.size() - rules.name.size());
        if (path.empty()) path = ".";
        folder = open(path);
    }
    problem = folder ? NameProblem(rules.name) : ErrorText(errno);
    if (!folder) problem = path + ": " + problem;
    if (folder && rules.name.empty()) problem.clear();
    if (!problem.empty()) return nullptr;
    return std::make_unique<CFileFolder>(std::move(folder), rules);
}

ProgressView ViewOf(const CReceiveEngine& engine, const CArrivals& arrivals) {
    const ReceiveProgress progress = engine.Progress();
    ProgressView view;
    const bool begun = progress.state != ReceiveState::Waiting && progress.state != ReceiveState::NobodyThere;
    view.files = arrivals.InFlight(engine);
    view.words = !begun                                       ? "waiting for the sender"
                 : progress.state == ReceiveState::Receiving  ? "receiving"
                 : progress.state == ReceiveState::Delivering ? "writing to standard output"
                                                              : "verifying";
    view.done = progress.heldBytes;
    view.total = progress.totalBytes;
    view.moved = progress.arrivedBytes;
    view.rests = progress.state == ReceiveState::Waiting;
    return view;
}

nlohmann::json DetailsOf(const ReceiveProgress& progress, const CPathSwitch& paths) {
    return {{"arrived_bytes", progress.arrivedBytes},
            {"files", progress.files},
            {"files_done", progress.filesDone},
            {"reconnects", paths.Remakes()},
            {"path", paths.PathText()}};
}

// NOLINTNEXTLINE(bugprone-exception-escape): what the JSON library promises of its moves
struct Outcome {
    std::string path;
    bool interrupted = false;
    SealVerdict verdict = SealVerdict::NothingYet;
    ServerTrouble server;  // of a transfer that never began
    nlohmann::json notOpened;
    uint64_t startedMs = 0;
    uint64_t begunMs = 0;  ///< when the first word of a sender came; 0: never
    uint64_t endedMs = 0;

    nlohmann::json Seconds() const { return begunMs == 0 ? 0.0 : static_cast<double>(endedMs - begunMs) / 1000; }
    nlohmann::json UntilFirstByte() const {
        return begunMs == 0 ? nlohmann::json() : nlohmann::json(static_cast<double>(begunMs - startedMs) / 1000);
    }
};

int Finish(const ReceiveCommand& command, const CReceiveEngine& engine, const Outcome& outcome, const EntryCounts& came,
           CProgressPrinter& printer) {
    int code = kExitFailed;
    std::string result = "failed", problem = engine.Problem();
    if (engine.State() == ReceiveState::Done) {
        code = kExitDone;
        result = "done";
    } else if (outcome.interrupted) {
        result = "interrupted";
        problem = command.ToStdout() || engine.Files().empty() ? "interrupted" : "interrupted; what has come is kept";
    } else if (IsInVain(outcome.verdict)) {
        code = kExitSealed;
        result = "sealed";
        problem = VerdictText(outcome.verdict);
    } else if (outcome.server.Lasts()) {
        problem = outcome.server.Text();
    } else if (engine.State() == ReceiveState::NobodyThere) {
        code = kExitNobody;
        result = "nobody";
        const bool there = outcome.server.fault == ServerFault::Answers;
        const bool said = outcome.server.advice.empty();
        if (outcome.server.fault != ServerFault::None && !(there && said))
            problem = (there ? problem + ": " : "") + outcome.server.Text();
    }
    if (code != kExitDone) printer.Error(Printable(problem));
    LumoProcessStatistics statistics{};
    GetProcessStatistics(statistics);
    const ReceiveProgress progress = engine.Progress();
    printer.Event({{"event", "end"},
                   {"result", result},
                   {"exit", code},
                   {"problem", problem},
                   {"server", outcome.server.Name()},
                   {"path", outcome.path},
                   {"bytes", progress.heldBytes},
                   {"came", came.Json()},
                   {"arrived_bytes", progress.arrivedBytes},
                   {"seconds", outcome.Seconds()},
                   {"until_first_byte", outcome.UntilFirstByte()},
                   {"not_opened", outcome.notOpened},
                   {"duplicate_packets", statistics.ullDuplicates},
                   {"damaged_blocks", progress.damagedBlocks}});
    return code;
}

void ShowPath(const std::string& path, const CReceiveEngine& engine, CProgressPrinter& printer) {
    printer.Note("path: " + path);
    printer.Event({{"event", "path"}, {"path", path}, {"arrived_bytes", engine.Progress().arrivedBytes}});
}

/// True when something came by the path in use.
bool TakeFrames(CPathSwitch& paths, CStreamOpener& opener, CReceiveEngine& engine, Outcome& outcome, uint64_t now) {
    bool came = false;
    for (std::string frame; paths.Pop(frame);) {
        char* data = frame.data();
        size_t length = frame.size();
        if (!opener.Open(data, length, now)) {
            engine.OnStranger(now);
            continue;
        }
        if (!engine.OnFrame(data, length, now, paths.CameByTheOneInUse())) continue;
        paths.OnSignOfLife(now);
        if (outcome.begunMs == 0) outcome.begunMs = now;
        came = came || paths.CameByTheOneInUse();
    }
    engine.OnArrived(paths.ArrivedBytes(), now);
    return came;
}

int Fetch(const ReceiveCommand& command, const RelayRoute& route, IFileFolder& folder, CToolLoop& loop,
          CProgressPrinter& printer) {
    CStatsFile stats(command.common.stats, "receive", printer);
    if (!stats.Ok()) return kExitFailed;
    CPeerHost host(command.common.ToPeers(route, static_cast<uint32_t>(RandomID() >> 32) | 1U));
    if (!host.Ok()) {
        printer.Error("cannot open a UDP endpoint");
        return kExitFailed;
    }
    Outcome outcome;
    outcome.startedMs = CToolLoop::Now();
    CReceivePaths link(command.common.Path(), route, host);
    CPathSwitch& paths = link.Paths();
    // The opener takes any start: the engine takes no transfer of whose newness it has no proof.
    CSealedLink sealed(link, route.secret, {SEAL_FILE, SEAL_UP, route.channel});
    CStreamOpener opener(route.secret, {SEAL_FILE, SEAL_DOWN, route.channel}, true);
    CReceiveEngine engine(RandomID(), folder, command.common.WaitMs(), route.secret.IsSet());
    CFileOutput output(STDOUT_FILENO);
    // Verified data go out in the order of the offers.
    if (command.ToStdout())
        engine.DeliverBy([&](const auto& files, std::string& why) { return output.Step(files, why); });
    CArrivals arrivals(folder, command.ToStdout(), printer);
    CServerWatch watch(route, LinkMedium::File, CServerWatch::Role::Subscriber);
    bool pathShown = false;
    printer.Note("waiting for channel " + std::to_string(route.channel) + " at " + route.mcu.Text() + PlainNote(route));
    while (!engine.Over() && !loop.Interrupted() && !watch.InVain() && !IsInVain(outcome.verdict)) {
        const uint64_t now = CToolLoop::Now();
        const PathEvent event = paths.Poll(now);
        if (event == PathEvent::Ready) engine.OnLinkReady();
        if (event == PathEvent::Changed) {
            engine.OnLinkChanged();
            pathShown = false;
        }
        // By a path that brings nothing nobody sends.
        if (TakeFrames(paths, opener, engine, outcome, now) && !std::exchange(pathShown, true))
            ShowPath(paths.PathText(), engine, printer);
        outcome.verdict = opener.Verdict(now);
        SayServerNews(watch.Poll(now, outcome.begunMs != 0 && paths.Ready(), paths.Ready()), watch, printer);
        const uint64_t wait = engine.Tick(now, sealed);
        arrivals.Tell(engine, paths.PathText());
        if (engine.Over()) break;
        if (printer.Due(now)) printer.Show(now, ViewOf(engine, arrivals), DetailsOf(engine.Progress(), paths));
        if (stats.Due(now)) stats.Write(now, DetailsOf(engine.Progress(), paths));
        loop.Wait(paths.WakeFd(), wait);
        paths.Rest();
    }
    outcome.endedMs = CToolLoop::Now();
    stats.Write(outcome.endedMs, DetailsOf(engine.Progress(), paths));
    outcome.notOpened = opener.Dropped();
    outcome.path = paths.PathText();
    outcome.interrupted = loop.Interrupted();
    if (engine.State() == ReceiveState::NobodyThere) outcome.verdict = opener.LastVerdict();
    if (watch.InVain() || engine.State() == ReceiveState::NobodyThere) outcome.server = watch.Conclude();
    const ByeReason reason = outcome.interrupted                    ? ByeReason::Interrupted
                             : engine.State() == ReceiveState::Done ? ByeReason::Done
                                                                    : ByeReason::Failed;
    // A sender that we do not understand would not understand us.
    if (!IsInVain(outcome.verdict)) SayGoodbye(engine, sealed, paths, reason, loop, {&sealed});
    paths.Close();
    arrivals.Finish(engine, outcome.path);
    return Finish(command, engine, outcome, arrivals.Done(), printer);
}

int Run(const ReceiveCommand& command) {
    std::FILE* json = command.ToStdout() ? stderr : stdout;
    CProgressPrinter printer(CProgressPrinter::Choose(command.common.json, command.common.quiet), json);
    ShareLink link;
    RelayRoute route;
    std::string problem;
    int code = kExitUsage;
    if (command.common.link.Take(LinkMedium::File, command.common.mcu, link, problem, code) &&
        command.common.ToRoute(link, route, problem, code)) {
        code = kExitFailed;
        CToolLoop loop;
        if (const auto folder = OpenFolder(command, problem)) return Fetch(command, route, *folder, loop, printer);
    }
    printer.Error(Printable(problem));
    return code;
}

}  // namespace

void AddReceiveCommand(CCommand& root, int& exitCode) {
    auto command = std::make_shared<ReceiveCommand>();
    CCommand receive =
        root.Sub("receive", "Receive the files, folders and words that somebody sends under a channel number");
    command->common.link.AddTakerTo(receive);
    command->common.AddTo(receive, 60, true);
    command->common.AddStatsTo(receive);
    receive.Add("--near HOST", command->common.nearMcu,
                "A nearer server that relays from the sender's. Both must listen on the same port");
    receive
        .Add("-o,--out DIRECTORY|FILE", command->out,
             "For files and folders, or a name for the one file that comes; - is standard output")
        .ShowDefault();
    receive.AddFlag("--force", command->rules.force, "Replace files that exist; they keep their permissions");
    receive.AddFlag("--allow-hidden", command->rules.allowHidden,
                    "Names that begin with a dot or a dash stay as they are; otherwise _ comes before them");
    receive.Example("lumo receive lumo://relay.example/file/3735928559#mK3v0b2ZrR1yqTfX9sLw4A",
                    "What the sender has shown, into this directory");
    receive.Example("lumo receive -o ~/Downloads", "Asks for the link, so that no shell keeps it");
    receive.Example("lumo receive 77 --mcu relay.example -o - | tar x", "A plain channel by its number, into a pipe");
    receive.OnRun([command, &exitCode] { exitCode = Run(*command); });
}

}  // namespace lumo
