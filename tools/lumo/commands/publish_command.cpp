#include "tools/lumo/commands/commands.h"
#include "tools/lumo/commands/transfer_options.h"
#include "tools/lumo/media/publish_medium.h"
#include "tools/lumo/net/loop.h"
#include "tools/lumo/stats/stats_file.h"
#include "tools/lumo/transfer/file_name.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <memory>
#include <utility>

namespace lumo {
namespace {

struct PublishCommand {
    TransferOptions common;
    bool peers = false;
    std::shared_ptr<IPublishMedium> medium;
};

int Publish(const PublishCommand& command, const RelayRoute& route, CToolLoop& loop, CProgressPrinter& printer) {
    constexpr uint64_t kTurnMs = 20;
    CStatsFile stats(command.common.stats, "publish", printer);
    if (!stats.Ok()) return kExitFailed;
    PeerOptions peers = command.common.ToPeers(route, SenderUser(route.channel));
    peers.peers = command.peers;
    CPeerHost host(peers);
    if (!host.Ok()) {
        printer.Error("cannot open a UDP endpoint");
        return kExitFailed;
    }
    IPublishMedium& medium = *command.medium;
    CWake wake;
    CInbox inbox(wake, 0, 0);
    std::unique_ptr<CLink> link = medium.Open(route, inbox);
    bool turnedAway = false;
    while (!medium.Over() && !loop.Interrupted()) {
        const uint64_t now = CToolLoop::Now();
        link->Poll(now);
        host.Poll(now);
        const uint64_t wait = medium.Turn(now);
        for (nlohmann::json event = medium.NextEvent(); !event.is_null(); event = medium.NextEvent())
            printer.Event(event);
        if (!std::exchange(turnedAway, link->IsTurnedAway()) && turnedAway) SayTurnedAway(printer);
        const char* words = link->IsTaken() ? "publishing" : "waiting for the relay server";
        if (printer.Due(now)) printer.Show(now, {words, medium.Bytes(), 0, medium.Bytes()}, medium.Details());
        if (stats.Due(now)) stats.Write(now, medium.Details());
        loop.Wait(medium.WaitFd(), std::min(wait, kTurnMs));
    }
    stats.Write(CToolLoop::Now(), medium.Details());
    medium.SayGoodbye();
    nlohmann::json end = medium.Details();
    const bool vain = !link->EverTaken() && !command.peers && !loop.Interrupted();
    link.reset();
    medium.Close();
    end["event"] = "end";
    end["problem"] = medium.Problem();
    printer.Event(end);
    if (!medium.Problem().empty()) {
        printer.Error(Printable(medium.Problem()));
        return kExitFailed;
    }
    if (!vain) return kExitDone;
    printer.Error("the server has not taken the stream");
    return kExitNobody;
}

int Run(const PublishCommand& command) {
    CProgressPrinter printer(CProgressPrinter::Choose(command.common.json, command.common.quiet), stdout);
    const std::optional<LinkMedium> medium = MediumNamed(command.medium->Name());
    const LinkOptions& links = command.common.link;
    ShareLink link;
    RelayRoute route;
    std::string problem;
    int code = kExitUsage;
    if (links.Make(*medium, command.common.mcu, link, problem, code) &&
        command.common.ToRoute(link, route, problem, code)) {
        code = kExitFailed;
        CToolLoop loop;
        if (command.medium->Prepare(problem)) {
            links.HandOn(link, "", command.common.quiet, printer);
            return Publish(command, route, loop, printer);
        }
    }
    printer.Error(Printable(problem));
    return code;
}

}  // namespace

void AddPublishCommand(CCommand& root, int& exitCode) {
    CCommand publish = root.Sub("publish", "Publish a live stream");
    publish.NeedsSub("medium");
    for (const std::shared_ptr<IPublishMedium>& medium : PublishMedia()) {
        auto command = std::make_shared<PublishCommand>();
        command->medium = medium;
        CCommand stream = publish.Sub(medium->Name(), medium->Help(), "Media");
        medium->AddOptions(stream);
        command->common.AddServerTo(stream);
        command->common.AddStatsTo(stream);
        command->common.link.AddMakerTo(stream);
        stream.AddFlag("--peers", command->peers, "Let peers subscribe straight at this host too");
        stream.OnRun([command, &exitCode] { exitCode = Run(*command); });
    }
}

}  // namespace lumo
