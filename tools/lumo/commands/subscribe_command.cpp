#include "tools/lumo/commands/commands.h"
#include "tools/lumo/commands/transfer_options.h"
#include "tools/lumo/media/subscribe_medium.h"
#include "tools/lumo/net/loop.h"
#include "tools/lumo/net/share_link.h"
#include "tools/lumo/seal/stream_seal.h"
#include "tools/lumo/stats/stats_file.h"
#include "tools/lumo/transfer/file_name.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <cstring>
#include <memory>

namespace lumo {
namespace {

struct SubscribeCommand {
    TransferOptions common;
    double seconds = 0;
    std::shared_ptr<ISubscribeMedium> medium;

    uint64_t Ms() const { return static_cast<uint64_t>(seconds * 1000); }
};

/// What the medium tells and what the ways do.
nlohmann::json Details(const ISubscribeMedium& medium, const CPathSwitch& paths) {
    nlohmann::json details = medium.Details();
    details["path"] = paths.PathText();
    details["reconnects"] = paths.Remakes();
    return details;
}

/// Whether there is a frame for the medium in what came. What comes again tells that its way lives, and no more.
bool Hears(ISubscribeMedium& medium, CPathSwitch& paths, CStreamOpener& opener, std::string& frame, uint64_t now) {
    char* data = frame.data();
    size_t length = frame.size();
    const bool opened = opener.Open(data, length, now);
    const bool heard = opened && medium.OnFrame(data, length);
    if (heard || (!opened && opener.CameAgain())) paths.OnSignOfLife(now);
    return heard;
}

void ShowHeard(const ISubscribeMedium& medium, const CPathSwitch& paths, uint64_t since, bool begun,
               CProgressPrinter& printer) {
    const uint64_t now = CToolLoop::Now();
    const LiveView view{begun ? "listening" : "waiting", static_cast<double>(now - since) / 1000, medium.Bytes(),
                        begun ? medium.Quality() : ""};
    printer.Show(now, view, Details(medium, paths));
}

/// Until somebody wants no more; the result is when the first frame came, 0: never.
uint64_t Hear(const SubscribeCommand& command, CPathSwitch& paths, CStreamOpener& opener, CServerWatch& watch,
              CToolLoop& loop, CProgressPrinter& printer, CStatsFile& stats) {
    constexpr uint64_t kTurnMs = 50;
    constexpr uint64_t kStartMs = 5000;  // until a running stream can be taken up
    ISubscribeMedium& medium = *command.medium;
    const uint64_t start = CToolLoop::Now();
    uint64_t begun = 0, heard = start;
    std::string frame;
    const auto show = [&] { ShowHeard(medium, paths, begun == 0 ? start : begun, begun != 0, printer); };
    while (!medium.Over() && !loop.Interrupted() && !watch.InVain() && !IsInVain(opener.Verdict(CToolLoop::Now()))) {
        const uint64_t now = CToolLoop::Now();
        if (paths.Poll(now) == PathEvent::Changed) {
            medium.OnPathChanged();
            printer.Note("path: " + paths.PathText());
            printer.Event({{"event", "path"}, {"path", paths.PathText()}});
        }
        while (paths.Pop(frame)) {
            if (!Hears(medium, paths, opener, frame, now)) continue;
            heard = now;
            if (begun == 0) begun = now;
        }
        medium.Tick();
        SayServerNews(watch.Poll(now, begun != 0 && paths.Ready(), paths.Ready()), watch, printer);
        if (printer.Due(now)) show();
        if (stats.Due(now)) stats.Write(now, Details(medium, paths));
        if (now - heard > command.common.WaitMs()) break;
        if (command.seconds > 0 && begun != 0 && now - begun >= command.Ms() + (medium.Heard() ? 0 : kStartMs)) break;
        loop.Wait(paths.WakeFd(), kTurnMs);
        paths.Rest();
    }
    show();
    printer.LeaveLine();
    return begun;
}

/// Why there is less than was wanted; empty: there is not.
std::string WhyUnheard(const ISubscribeMedium& medium, SealVerdict verdict, bool interrupted, CServerWatch& watch) {
    if (IsInVain(verdict)) return VerdictText(verdict);
    if (medium.Heard() || !medium.Problem().empty()) return medium.Problem();
    if (interrupted || watch.Conclude().fault == ServerFault::None || watch.Trouble().advice.empty())
        return "nothing was heard";
    return "nothing was heard: " + watch.Trouble().Text();
}

int SubscribeCode(const ISubscribeMedium& medium, SealVerdict verdict, const CServerWatch& watch) {
    if (IsInVain(verdict)) return kExitSealed;
    if (!medium.Problem().empty() || (!medium.Heard() && watch.InVain())) return kExitFailed;
    return medium.Heard() ? kExitDone : kExitNobody;
}

int Subscribe(const SubscribeCommand& command, const RelayRoute& route, CToolLoop& loop, CProgressPrinter& printer) {
    CStatsFile stats(command.common.stats, "subscribe", printer);
    if (!stats.Ok()) return kExitFailed;
    CPeerHost host(command.common.ToPeers(route, static_cast<uint32_t>(RandomID() >> 32) | 1U));
    if (!host.Ok()) {
        printer.Error("cannot open a UDP endpoint");
        return kExitFailed;
    }
    ISubscribeMedium& medium = *command.medium;
    SetP2PSubscribe(true);  // where no direct link is made it changes nothing
    CPathSwitch paths(command.common.Path(), route, medium.Rules(), medium, host);
    printer.Note("waiting for channel " + std::to_string(route.channel) + PlainNote(route));
    CStreamOpener opener(route.secret, {medium.Seals(), SEAL_DOWN, route.channel});
    CServerWatch watch(route, *MediumNamed(medium.Name()), CServerWatch::Role::Subscriber);
    const uint64_t begun = Hear(command, paths, opener, watch, loop, printer, stats);
    medium.Finish();
    nlohmann::json end = Details(medium, paths);
    stats.Write(CToolLoop::Now(), end);
    paths.Close();
    const double seconds = begun == 0 ? 0 : static_cast<double>(CToolLoop::Now() - begun) / 1000;
    const bool vain = !loop.Interrupted() && !medium.Over();
    const SealVerdict verdict = vain ? opener.LastVerdict() : opener.Verdict(CToolLoop::Now());
    const std::string problem = WhyUnheard(medium, verdict, loop.Interrupted(), watch);
    const int code = SubscribeCode(medium, verdict, watch);
    if (medium.Heard() && !IsInVain(verdict)) printer.Note(medium.Summary(seconds));
    if (!problem.empty()) printer.Error(Printable(problem));
    end["event"] = "end";
    end["exit"] = code;
    end["problem"] = problem;
    end["server"] = watch.Trouble().Name();
    end["not_opened"] = opener.Dropped();
    end["seconds"] = seconds;
    end["bytes"] = medium.Bytes();
    end["bytes_per_second"] = seconds > 0 ? static_cast<uint64_t>(static_cast<double>(medium.Bytes()) / seconds) : 0;
    printer.Event(end);
    return code;
}

int Run(const SubscribeCommand& command) {
    std::FILE* json = command.medium->UsesStdout() ? stderr : stdout;
    CProgressPrinter printer(CProgressPrinter::Choose(command.common.json, command.common.quiet), json);
    const std::optional<LinkMedium> medium = MediumNamed(command.medium->Name());
    ShareLink link;
    RelayRoute route;
    std::string problem;
    int code = kExitUsage;
    if (command.common.link.Take(*medium, command.common.mcu, link, problem, code) &&
        command.common.ToRoute(link, route, problem, code)) {
        code = kExitFailed;
        CToolLoop loop;
        if (command.medium->Prepare(problem)) return Subscribe(command, route, loop, printer);
    }
    printer.Error(Printable(problem));
    return code;
}

}  // namespace

std::vector<const char*> NameMediumOfLink(int argc, const char* const* argv) {
    std::vector<const char*> words(argv, argv + argc);
    if (argc < 3 || std::strcmp(argv[1], "subscribe") != 0) return words;
    const auto link = std::find_if(words.begin() + 2, words.end(), LooksLikeLink);
    if (link == words.end() || MediumNamed(argv[2])) return words;
    ShareLink leads;
    std::string problem;
    const std::string clear(*link, std::strcspn(*link, "#"));
    const bool stream = ParseShareLink(clear, leads, problem) && leads.medium < LinkMedium::File;
    words.insert(words.begin() + 2, MediumName(stream ? leads.medium : LinkMedium::Audio));  // which says what is wrong
    return words;
}

void AddSubscribeCommand(CCommand& root, int& exitCode) {
    CCommand subscribe = root.Sub("subscribe", "Take part in a live stream");
    subscribe.NeedsSub("medium");
    for (const std::shared_ptr<ISubscribeMedium>& medium : SubscribeMedia()) {
        auto command = std::make_shared<SubscribeCommand>();
        TransferOptions& common = command->common;
        command->medium = medium;
        common.waitSeconds = 60;
        CCommand stream = subscribe.Sub(medium->Name(), medium->Help(), "Media");
        common.link.AddTakerTo(stream);
        const std::vector<std::string> ways = medium->Paths();
        const bool overTcp = std::find(ways.begin(), ways.end(), "p2p-tcp") != ways.end();
        common.AddServerTo(stream, overTcp ? kTcpHelp : kTcpByServerHelp);
        common.AddStatsTo(stream);
        stream.Add("--near HOST", common.nearMcu,
                   "A nearer server that relays from the publisher's. Both must listen on the same port");
        stream
            .Add("--path", common.path,
                 "auto: straight from the publisher's host where it lets peers come (--peers there), else "
                 "through the relay; p2p: only directly; relay: only through it. Default: auto, with --proxy "
                 "or --near relay")
            .OneOf(medium->Paths());
        medium->AddOptions(stream);
        stream.Add("--seconds SECONDS", command->seconds, "End so long after the first frame has come")
            .Seconds(0.1, 1e9);
        stream.Add("--wait SECONDS", common.waitSeconds, "How long to wait while nothing is heard")
            .Seconds(0.1, 1e9)
            .ShowDefault();
        stream.OnRun([command, &exitCode] { exitCode = Run(*command); });
    }
}

}  // namespace lumo
