#include "tools/lumo/commands/commands.h"

#include "platform/lumonet/bind_problem.h"
#include "platform/lumonet/lumonet.h"
#include "tools/lumo/board/board_paths.h"
#include "tools/lumo/board/board_server.h"
#include "tools/lumo/commands/transfer_options.h"
#include "tools/lumo/net/loop.h"
#include "tools/lumo/net/peer_manager.h"
#include "tools/lumo/transfer/file_name.h"

#include <netinet/in.h>
#include <nlohmann/json.hpp>

#include <cstdlib>
#include <memory>

namespace lumo {
namespace {

struct WhiteboardCommand {
    TransferOptions common;
    std::string name;
    BoardDoor door;
    bool listens = false;  // others of the network may come, with the token
};

std::string UsualName() {
    const char* user = std::getenv("USER");  // NOLINT(concurrency-mt-unsafe): nobody sets variables
    return user && *user != '\0' ? user : "Guest";
}

std::string LinkTo(const RelayRoute& route) {
    ShareLink link;
    link.mcu = route.mcu;
    link.medium = LinkMedium::Board;
    link.channel = route.channel;
    return PublicText(link);
}

/// Every server has a board of its own under each number.
void SayWhose(const RelayRoute& route, CProgressPrinter& printer) {
    const std::string through = route.nearMcu.Empty() ? "" : ", through " + Printable(route.nearMcu.Text());
    const std::string home = Printable(route.mcu.Text());
    printer.Note("board " + std::to_string(route.channel) + " of " + home + through);
    printer.Note("others join it: lumo whiteboard " + LinkTo(route));
    printer.Note("not sealed: the server keeps the board, and can read it");
    printer.Note("from far away, through a server nearer to them: the same with --near HOST");
    if (IsThisHostAlone(route.mcu.host)) printer.Note(ThisHostAlone(route.mcu.host));
}

/// Where the page is, for whoever can come to it.
void SayWhere(const WhiteboardCommand& command, const std::string& url, CProgressPrinter& printer) {
    const bool shows = !command.common.quiet || command.listens;  // nobody could guess it
    if (printer.Mode() != ProgressMode::Json && shows) std::printf("%s\n", url.c_str());
    std::fflush(stdout);
    if (!command.listens) return;
    printer.Note("whoever on the network has this address can draw; it is not encrypted on its way there");
    if (command.common.link.qr) DrawCode(url);
}

/// The address under which others know the host: where it listens on all, the one that it has towards the server, or
/// towards anywhere where that is this host.
uint32_t ShownIP(const BoardDoor& door, const RelayRoute& route) {
    constexpr uint32_t kAnywhere = 0xc0000201;  // an address for examples: nothing is sent
    if (door.ip != 0) return door.ip;
    for (const uint32_t far : {route.mcu.ips[0], kAnywhere}) {
        const uint32_t lan = LanAddressTowards(far);
        if (lan != 0 && lan != BoardDoor::kLoopback) return lan;
    }
    return BoardDoor::kLoopback;
}

void ShowStatus(const BoardStatus& status, CProgressPrinter& printer) {
    printer.Event(
        {{"event", "status"}, {"connected", status.connected}, {"path", status.path}, {"text", status.Text()}});
    printer.Note(std::string(status.Text()) + (status.connected ? ": " : "; trying ") + Printable(status.path));
}

int Draw(const WhiteboardCommand& command, const RelayRoute& route, CToolLoop& loop, CProgressPrinter& printer) {
    constexpr uint64_t kTurnMs = 50;
    const std::string name = command.name.empty() ? UsualName() : command.name;
    CPageFeeds feeds;
    CBoard board(route.channel, static_cast<uint32_t>(RandomID() >> 32) | 1U, name, feeds);
    CBoardPaths paths(command.common.Path(), route, command.common.ToPeers(route, 0), board);
    CBoardServer server(board, feeds);
    BoardDoor door = command.door;
    std::string problem;
    if (command.listens && !door.DrawToken())
        problem = kNoRandomness;
    else if (!paths.Ok())
        problem = "cannot open a UDP endpoint";
    else if (!server.Start(door))
        problem = "cannot serve the page on " + GetIpAddr(door.ip) + ":" + std::to_string(door.port) + ": " +
                  BindProblem(door.ip, door.port, ListenOver::Tcp);
    if (!problem.empty()) {
        printer.Error(problem);
        return kExitFailed;
    }
    const std::string url = server.Door().Url(ShownIP(door, route));
    printer.Event({{"event", "ready"},
                   {"channel", route.channel},
                   {"url", url},
                   {"home", route.mcu.Text()},
                   {"link", LinkTo(route)}});
    SayWhere(command, url, printer);
    if (UsesRelay(command.common.Path())) SayWhose(route, printer);
    BoardStatus shown{true, ""};
    CServerWatch watch(route, LinkMedium::Board, CServerWatch::Role::Subscriber);
    while (!loop.Interrupted() && !watch.InVain()) {
        const uint64_t now = CToolLoop::Now();
        const bool more = paths.Poll(now);
        const BoardStatus status = paths.Status();
        const CServerWatch::News news = watch.Poll(now, status.connected, status.connected);
        // Who looks for the host of a board first takes his time, and says what he does.
        if (watch.IsComplaint() || status.connected || !UsesPeers(command.common.Path()))
            SayServerNews(news, watch, printer);
        if (status.connected != shown.connected || status.path != shown.path) {
            shown = status;
            ShowStatus(status, printer);
        }
        loop.Wait(paths.WakeFd(), more ? 0 : kTurnMs);
        paths.Rest();
    }
    board.SayGoodbye();
    paths.Leave(loop);
    if (!watch.InVain()) return kExitDone;
    printer.Error(Printable(watch.Trouble().Text()));
    return kExitFailed;
}

int Run(const WhiteboardCommand& command) {
    CProgressPrinter printer(CProgressPrinter::Choose(command.common.json, command.common.quiet), stdout);
    ShareLink link;
    RelayRoute route;
    std::string problem;
    int code = kExitUsage;
    if (command.common.link.qr && !command.listens)
        problem = "--qr draws the page's address for another device: give --http-listen too";
    else if (command.common.link.Take(LinkMedium::Board, command.common.mcu, link, problem, code) &&
             command.common.ToRoute(link, route, problem, code)) {
        CToolLoop loop;
        return Draw(command, route, loop, printer);
    }
    printer.Error(Printable(problem));
    return code;
}

}  // namespace

void AddWhiteboardCommand(CCommand& root, int& exitCode) {
    auto command = std::make_shared<WhiteboardCommand>();
    command->common.path = "relay";
    CCommand board = root.Sub("whiteboard", "Draw together: opens a page on this host");
    command->common.link.AddTakerTo(board);
    board.Add("--channel NUMBER", command->common.link.channel,
              "The number that all who draw together name; every server has a board of its own under it");
    command->common.AddServerTo(board, kTcpHelp);
    board.Add("--near HOST", command->common.nearMcu,
              "A nearer server, which joins the board of --mcu. Both must listen on the same port");
    board
        .Add("--path", command->common.path,
             "relay: all through the server; p2p and p2p-tcp: straight to the host of who came first, over UDP "
             "or TCP; auto: so where that is possible, else through the server")
        .OneOf({"auto", "p2p", "p2p-tcp", "relay"})
        .ShowDefault();
    board.AddFlag("--forwarded", command->common.forwarded,
                  "This host's TCP ports are mapped at the router, so that peers may connect to its public address");
    board.Add("--http PORT", command->door.port, "The page's port; a free one unless given");
    board.AddText(
        "--http-listen ADDRESS",
        "This host's address for the page, so that a phone on its network can draw; 0.0.0.0: all of them. The "
        "page's address then has a random part, and nobody comes in without. Only this host can unless given",
        [command](const std::string& text) {
            command->listens = ParseIpAddr(text, command->door.ip);
            return command->listens ? "" : text + " is not an IPv4 address";
        });
    board.AddFlag("--qr", command->common.link.qr,
                  "With --http-listen: draws the page's address as a QR code on standard error");
    board.Add("--name NAME", command->name, "What the others see you as");
    board.Example("lumo whiteboard --channel 21 --mcu relay.example",
                  "Shows the page's address, and a line for others");
    board.Example("lumo whiteboard lumo://relay.example/board/21 --name Ada", "Joins that board");
    board.Exits({{kExitDone, "ended by a signal"}, {kExitFailed, "failed"}});
    board.OnRun([command, &exitCode] { exitCode = Run(*command); });
}

}  // namespace lumo
