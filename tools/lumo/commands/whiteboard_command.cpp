#include "tools/lumo/commands/commands.h"

#include "tools/lumo/board/board_paths.h"
#include "tools/lumo/board/board_server.h"
#include "tools/lumo/commands/transfer_options.h"
#include "tools/lumo/net/loop.h"
#include "tools/lumo/transfer/file_name.h"

#include <nlohmann/json.hpp>

#include <cstdlib>
#include <memory>

namespace lumo {
namespace {

struct WhiteboardCommand {
    TransferOptions common;
    std::string name;
    uint16_t http = 0;
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
}

int Draw(const WhiteboardCommand& command, const RelayRoute& route, CToolLoop& loop, CProgressPrinter& printer) {
    constexpr uint64_t kTurnMs = 50;
    const std::string name = command.name.empty() ? UsualName() : command.name;
    CPageFeeds feeds;
    CBoard board(route.channel, static_cast<uint32_t>(RandomID() >> 32) | 1U, name, feeds);
    CBoardPaths paths(command.common.Path(), route, command.common.ToPeers(route, 0), board);
    CBoardServer server(board, feeds);
    if (!paths.Ok() || !server.Start(command.http)) {
        printer.Error(paths.Ok() ? "cannot open the page's port" : "cannot open a UDP endpoint");
        return kExitFailed;
    }
    printer.Event({{"event", "ready"},
                   {"channel", route.channel},
                   {"url", server.Url()},
                   {"home", route.mcu.Text()},
                   {"link", LinkTo(route)}});
    if (printer.Mode() != ProgressMode::Json && !command.common.quiet) std::printf("%s\n", server.Url().c_str());
    std::fflush(stdout);
    if (UsesRelay(command.common.Path())) SayWhose(route, printer);
    BoardStatus shown{true, ""};
    while (!loop.Interrupted()) {
        const bool more = paths.Poll(CToolLoop::Now());
        const BoardStatus status = paths.Status();
        if (status.connected != shown.connected || status.path != shown.path) {
            shown = status;
            printer.Event({{"event", "status"}, {"connected", status.connected}, {"path", status.path}});
            printer.Note((status.connected ? "connected: " : "connecting: ") + Printable(status.path));
        }
        loop.Wait(paths.WakeFd(), more ? 0 : kTurnMs);
        paths.Rest();
    }
    board.SayGoodbye();
    paths.Leave(loop);
    return kExitDone;
}

int Run(const WhiteboardCommand& command) {
    CProgressPrinter printer(CProgressPrinter::Choose(command.common.json, command.common.quiet), stdout);
    ShareLink link;
    RelayRoute route;
    std::string problem;
    int code = kExitUsage;
    if (command.common.link.Take(LinkMedium::Board, command.common.mcu, link, problem, code) &&
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
    board.Add("--channel", command->common.link.channel,
              "The number that all who draw together name; every server has a board of its own under it");
    command->common.AddServerTo(board);
    board.Add("--near", command->common.nearMcu,
              "A nearer server, which joins the board of --mcu: HOST. Both must listen on the same port");
    board
        .Add("--path", command->common.path,
             "relay: all through the server; p2p and p2p-tcp: straight to the host of who came first, over UDP "
             "or TCP; auto: so where that is possible, else through the server")
        .OneOf({"auto", "p2p", "p2p-tcp", "relay"})
        .ShowDefault();
    board.AddFlag("--forwarded", command->common.forwarded,
                  "This host's TCP ports are mapped at the router, so that peers may connect to its public address");
    board.Add("--http", command->http, "The page's port on 127.0.0.1; a free one unless given");
    board.Add("--name", command->name, "What the others see you as");
    board.OnRun([command, &exitCode] { exitCode = Run(*command); });
}

}  // namespace lumo
