#include "tools/lumo/commands/transfer_options.h"

#include "tools/lumo/commands/commands.h"
#include "tools/lumo/transfer/file_name.h"

#include <lumomedia/local_mcu.h>
#include <nlohmann/json.hpp>

#include <cstdlib>

namespace lumo {

void AddTransportOptions(CCommand& command) {
    command.AddText(
        "--congestion NAME",
        "Congestion control that TCP connections ask the kernel for; where it is not to be had they keep the "
        "kernel's own. Default: bbr",
        [](const std::string& text) {
            SetTcpCongestionControl(text.c_str());
            return std::string();
        });
    command.AddText(
        "--session wide|given",
        "wide: links over UDP fill long paths towards those who can do it, too; given: never. Default: wide",
        [](const std::string& text) {
            if (text != "wide" && text != "given") return "neither wide nor given: " + text;
            SetWideSessions(text == "wide");
            return std::string();
        });
}

void TransferOptions::AddServerTo(CCommand& command, const char* tcpHelp) {
    command.Add(
        "--mcu HOST[:PORT]", mcu,
        "The relay server, port 7000 unless given. It takes the place of the one in a link; LUMO_MCU and the settings "
        "name one where neither is given");
    command.AddUsual("--mcu", kMcuVariable, link.usualMcu);
    command.AddFlag("--tcp", tcp, tcpHelp);
    command.Add("--proxy URL", proxy,
                "Over TCP through a proxy: http://, socks4:// or socks5://[USER[:PASSWORD]@]HOST[:PORT]. "
                "LUMO_PROXY_PASSWORD may hold the password");
    AddTransportOptions(command);
    command.AddSettings();
    command.AddFlag("--json", json, "One JSON object a second instead of words");
    command.AddFlag("-q,--quiet", quiet, "No progress, only complaints");
}

void TransferOptions::AddStatsTo(CCommand& command) {
    command.Add("--stats FILE", stats,
                "Add a line of JSON a second to it: what the links do, also for lumo stats --file");
}

void TransferOptions::AddTo(CCommand& command, double defaultWait, bool takes) {
    waitSeconds = defaultWait;
    AddServerTo(command, takes ? kTcpHelp : kTcpMakerHelp);
    command
        .Add("--path", path,
             std::string("auto: through the relay at once, and straight from host to host as soon as that is possible; "
                         "p2p and p2p-tcp: only directly, over UDP or TCP; relay: only through it. Default: auto; "
                         "relay with --proxy") +
                 (takes ? " or --near" : ""))
        .OneOf({"auto", "p2p", "p2p-tcp", "relay"});
    command.AddFlag("--forwarded", forwarded,
                    "This host's TCP ports are mapped at the router, so that peers may connect to its public address");
    command.Add("--wait SECONDS", waitSeconds, "How long to wait while nobody is there")
        .Seconds(0.1, 1e9)
        .ShowDefault();
}

// A request names the sender's server by address only: the nearer one looks for it at its own port.
bool TransferOptions::ToNear(RelayRoute& route, std::string& problem) const {
    if (!ParseTarget(nearMcu, route.nearMcu, problem, route.mcu.port)) return false;
    if (route.nearMcu.port == route.mcu.port) return true;
    problem = "--near must use the port of --mcu, " + std::to_string(route.mcu.port) +
              ": a server relays only from servers on its own port";
    return false;
}

bool TransferOptions::ToRoute(uint32_t channel, RelayRoute& route, std::string& problem, int& exitCode) const {
    ShareLink to;
    to.channel = channel;
    exitCode = kExitUsage;
    return ParseServer(mcu, link.usualMcu, to.mcu, problem) && ToRoute(to, route, problem, exitCode);
}

bool TransferOptions::ToRoute(const ShareLink& to, RelayRoute& route, std::string& problem, int& exitCode) const {
    exitCode = kExitUsage;
    const char* password = std::getenv("LUMO_PROXY_PASSWORD");  // NOLINT(concurrency-mt-unsafe): nobody sets variables
    route.mcu = to.mcu;
    route.channel = to.channel;
    route.secret = to.secret;
    route.tcp = tcp || !proxy.empty();
    if (to.mcu.host.find(':') != std::string::npos) {
        problem = to.mcu.host + " is an IPv6 address, which the wire does not know";
        return false;
    }
    if (!nearMcu.empty() && !UsesRelay(Path())) {
        problem = "--path " + path + " goes straight to the other host, and --near through a server: name one of them";
        return false;
    }
    if (!nearMcu.empty() && !ToNear(route, problem)) return false;
    if (!proxy.empty() && !ParseProxyUrl(proxy, password ? password : "", route.proxy, problem)) return false;
    exitCode = kExitFailed;
    return ResolveTarget(route.mcu, problem) && (nearMcu.empty() || ResolveTarget(route.nearMcu, problem));
}

uint32_t ParseChannel(const std::string& text) { return static_cast<uint32_t>(ParseNumber(text, UINT32_MAX)); }

PathChoice TransferOptions::Path() const {
    if (path == "p2p") return PathChoice::P2P;
    if (path == "p2p-tcp") return PathChoice::P2PTcp;
    const bool usual = path.empty() && proxy.empty() && nearMcu.empty();
    return usual || path == "auto" ? PathChoice::Auto : PathChoice::Relay;
}

PeerOptions TransferOptions::ToPeers(const RelayRoute& route, uint32_t userID) const {
    PeerOptions options;
    options.peers = UsesPeers(Path());
    options.forwarded = forwarded;
    options.userID = userID;
    options.mcu = route.mcu;
    options.proxy = route.proxy;
    return options;
}

void SayServerNews(CServerWatch::News news, CServerWatch& watch, CProgressPrinter& printer) {
    if (news == CServerWatch::News::None) return;
    const ServerTrouble& trouble = watch.Trouble();
    const std::string words = Printable(news == CServerWatch::News::Serving ? watch.Praise() : trouble.Text());
    printer.Event({{"event", "server"},
                   {"state", trouble.Name()},
                   {"problem", Printable(trouble.problem)},
                   {"try", trouble.advice}});
    if (watch.InVain()) return;  // it is the program's last word
    const bool complaint = watch.IsComplaint();
    const bool read = printer.Mode() != ProgressMode::Json && (complaint || printer.Mode() != ProgressMode::Quiet);
    if (read && news == CServerWatch::News::Trouble) watch.NoteTold();
    if (complaint)
        printer.Warn(words);
    else if (!words.empty())
        printer.Note(words);
}

void DrainLink(const ILinkOut* link, CToolLoop& loop) {
    constexpr uint64_t kMostMs = 2000, kStepMs = 5, kGraceMs = 100;
    if (!link) return;
    const uint64_t start = CToolLoop::Now();
    while (link->Ready() && (link->Queued() > 0 || AnyWaits(kFileKind)) && CToolLoop::Now() - start < kMostMs)
        loop.Wait(-1, kStepMs);
    // Over TCP the last bytes are in the kernel now; closing at once with something unread would discard them.
    if (link->Ready()) loop.Wait(-1, kGraceMs);
}

}  // namespace lumo
