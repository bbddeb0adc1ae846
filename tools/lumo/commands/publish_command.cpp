#include "tools/lumo/commands/commands.h"
#include "tools/lumo/commands/transfer_options.h"
#include "tools/lumo/media/publish_medium.h"
#include "tools/lumo/net/loop.h"
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
        if (command.medium->Prepare(problem)) {
            const std::string line = std::string("lumo subscribe ") + command.medium->Name() + " " +
                                     std::to_string(channel) + " --mcu " + route.mcu.Text();
            printer.Event({{"event", "ready"}, {"channel", channel}, {"command", line}});
            if (printer.Mode() != ProgressMode::Json && !command.common.quiet) std::printf("%s\n", line.c_str());
            std::fflush(stdout);
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
        stream.AddFlag("--peers", command->peers, "Let peers subscribe straight at this host too");
        stream.OnRun([command, &exitCode] { exitCode = Run(*command); });
    }
}

}  // namespace lumo
