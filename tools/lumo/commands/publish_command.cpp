#include "tools/lumo/commands/commands.h"
#include "tools/lumo/commands/transfer_options.h"
#include "tools/lumo/media/publish_medium.h"
#include "tools/lumo/net/loop.h"
#include "tools/lumo/net/share_link.h"
#include "tools/lumo/transfer/file_name.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <memory>
#include <utility>

namespace lumo {
namespace {

struct PublishCommand {
    TransferOptions common;
    std::string channel;
    bool peers = false;
    bool plain = false;
    std::shared_ptr<IPublishMedium> medium;
};

int Publish(const PublishCommand& command, const RelayRoute& route, CToolLoop& loop, CProgressPrinter& printer) {
    constexpr uint64_t kTurnMs = 20;
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
        loop.Wait(medium.WaitFd(), std::min(wait, kTurnMs));
    }
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

/// Whoever has the line can take part. It is the only way to the secret, so that --quiet does not hide it.
void Announce(const PublishCommand& command, const RelayRoute& route, CProgressPrinter& printer) {
    const ShareLink link{route.mcu, MediumNamed(command.medium->Name()), route.channel, route.secret};
    std::string line = "lumo subscribe " + SecretText(link);
    printer.Event({{"event", "ready"}, {"channel", route.channel}, {"command", line}, {"sealed", !command.plain}});
    if (command.plain) line += "  # plain: the relay can read it";
    if (printer.Mode() != ProgressMode::Json && !(command.common.quiet && command.plain))
        std::printf("%s\n", line.c_str());
    std::fflush(stdout);
    WipeText(line);
}

int Run(const PublishCommand& command) {
    CProgressPrinter printer(CProgressPrinter::Choose(command.common.json, command.common.quiet), stdout);
    const uint32_t channel =
        command.channel.empty() ? static_cast<uint32_t>(RandomID() >> 32) | 1U : ParseChannel(command.channel);
    RelayRoute route;
    std::string problem = channel == 0 ? "the channel must be a number from 1 to 4294967295" : "";
    int code = kExitUsage;
    if (problem.empty() && command.common.ToRoute(channel, route, problem, code)) {
        code = kExitFailed;
        CToolLoop loop;
        if (!command.plain && !route.secret.Draw())
            problem = "no secret: the system gives no random numbers";
        else if (command.medium->Prepare(problem)) {
            Announce(command, route, printer);
            return Publish(command, route, loop, printer);
        }
    }
    printer.Error(Printable(problem));
    return code;
}

}  // namespace

void AddPublishCommand(CCommand& root, int& exitCode) {
    CCommand publish = root.Sub("publish", "Publish a live stream");
    publish.NeedsSub();
    for (const std::shared_ptr<IPublishMedium>& medium : PublishMedia()) {
        auto command = std::make_shared<PublishCommand>();
        command->medium = medium;
        CCommand stream = publish.Sub(medium->Name(), medium->Help());
        medium->AddOptions(stream);
        command->common.AddServerTo(stream);
        stream.Add("--channel", command->channel, "Number under which subscribers find it; random unless given");
        stream.AddFlag("--plain", command->plain, "Seal nothing: the relay, and whoever is on the way, can read it");
        stream.AddFlag("--peers", command->peers, "Let peers subscribe straight at this host too");
        stream.OnRun([command, &exitCode] { exitCode = Run(*command); });
    }
}

}  // namespace lumo
