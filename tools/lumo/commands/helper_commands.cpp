#include "tools/lumo/commands/commands.h"

#include "tools/lumo/commands/transfer_options.h"
#include "tools/lumo/demo/connect_proxy.h"
#include "tools/lumo/demo/impair.h"
#include "tools/lumo/demo/sockets.h"
#include "tools/lumo/net/loop.h"

#include <nlohmann/json.hpp>

#include <cstdio>
#include <memory>

namespace lumo {
namespace {

constexpr uint64_t kTurnMs = 1000;

struct ImpairCommand {
    std::string listen = "127.0.0.1:0";
    std::string to;
    std::string loss = "0";
    ImpairOptions options;
};

void Say(const nlohmann::json& event) {
    std::printf("%s\n", event.dump().c_str());
    std::fflush(stdout);
}

int Complain(const std::string& problem, ExitCode code) {
    std::fprintf(stderr, "lumo: %s\n", problem.c_str());
    return code;
}

int RunImpair(ImpairCommand command) {
    Endpoint listen, to;
    command.options.loss = ParseShare(command.loss);
    if (!ParseEndpoint(command.listen, listen)) return Complain("--listen takes ADDR:PORT in digits", kExitUsage);
    if (!ParseEndpoint(command.to, to) || to.port == 0) return Complain("--to takes ADDR:PORT in digits", kExitUsage);
    if (command.options.loss < 0) return Complain("--loss takes a share such as 2% or 0.02", kExitUsage);
    CToolLoop loop;
    CImpairedPath path(to, command.options);
    std::string problem;
    if (!path.Open(listen, problem)) return Complain(problem, kExitFailed);
    Say({{"event", "ready"}, {"port", path.Port()}});
    while (!loop.Interrupted()) {
        path.Turn(CToolLoop::Now(), kTurnMs, loop.SignalFd());
        loop.Wait(-1, 0);
    }
    Say({{"event", "end"},
         {"datagrams", path.Seen()},
         {"lost", path.Lost()},
         {"data_packets", path.Repeats().DataPackets()},
         {"retransmitted", path.Repeats().Repeated()}});
    return kExitDone;
}

int RunProxy(const std::string& where) {
    Endpoint listen;
    if (!ParseEndpoint(where, listen)) return Complain("--listen takes ADDR:PORT in digits", kExitUsage);
    CToolLoop loop;
    CConnectProxy proxy;
    std::string problem;
    if (!proxy.Open(listen, problem)) return Complain(problem, kExitFailed);
    Say({{"event", "ready"}, {"port", proxy.Port()}});
    proxy.ServeUntilReadable(loop.SignalFd());
    loop.Wait(-1, 0);  // takes the signal
    Say({{"event", "end"}, {"tunnels", proxy.Tunnels()}});
    return kExitDone;
}

}  // namespace

double ParseShare(const std::string& text) {
    const bool percent = !text.empty() && text.back() == '%';
    const std::string number = text.substr(0, text.size() - percent);
    if (number.empty() || number.find_first_not_of("0123456789.") != std::string::npos) return -1;
    char* end = nullptr;
    const double value = std::strtod(number.c_str(), &end) / (percent ? 100 : 1);
    return *end == '\0' && value <= 1 ? value : -1;
}

void AddHelperCommands(CCommand& root, int& exitCode) {
    const char* const group = "Helpers of the demo";
    auto command = std::make_shared<ImpairCommand>();
    CCommand impair = root.Sub("impair", "Pass UDP datagrams on, losing and delaying some", group);
    impair.Add("--listen ADDR:PORT", command->listen, "Where clients come").ShowDefault();
    impair.Add("--to ADDR:PORT", command->to, "Where the datagrams go on to").Required();
    impair.Add("--loss SHARE", command->loss, "Share lost each way, such as 2%").ShowDefault();
    impair.Add("--delay MILLISECONDS", command->options.delayMs, "What it adds each way").Within(0, 10000);
    impair.Add("--seed NUMBER", command->options.seed, "Which datagrams are lost").ShowDefault();
    impair.Example("lumo impair --listen 127.0.0.1:9000 --to 127.0.0.1:7000 --loss 2% --delay 50",
                   "A bad path to a server on this host: clients name 127.0.0.1:9000");
    impair.Exits({{kExitDone, "ended by a signal"}, {kExitFailed, "it could not start"}});
    impair.OnRun([command, &exitCode] { exitCode = RunImpair(*command); });

    auto listen = std::make_shared<std::string>("127.0.0.1:0");
    CCommand proxy = root.Sub("connect-proxy", "Run an HTTP CONNECT proxy to loopback", group);
    proxy.Add("--listen ADDR:PORT", *listen, "Where clients come").ShowDefault();
    proxy.Example("lumo connect-proxy --listen 127.0.0.1:8080", "Clients name it by --proxy http://127.0.0.1:8080");
    proxy.Exits({{kExitDone, "ended by a signal"}, {kExitFailed, "it could not start"}});
    proxy.OnRun([listen, &exitCode] { exitCode = RunProxy(*listen); });
}

}  // namespace lumo
