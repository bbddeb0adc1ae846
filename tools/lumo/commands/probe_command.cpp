#include "tools/lumo/commands/commands.h"

#include "tools/lumo/commands/transfer_options.h"
#include "tools/lumo/net/loop.h"
#include "tools/lumo/net/probe.h"
#include "tools/lumo/net/server_check.h"
#include "tools/lumo/net/target.h"
#include "tools/lumo/transfer/file_name.h"

#include <nlohmann/json.hpp>

#include <cstdio>
#include <memory>

namespace lumo {
namespace {

struct ProbeCommand {
    std::string mcu, usualMcu;
    uint16_t second = 0;  ///< 0: the port after the first
    double waitSeconds = 5;
    bool json = false;
};

bool IsThere(CServerCheck& check) { return !check.Done() || check.Result().fault == ServerFault::Answers; }

/// This host's address as one port of the reflector sees it; zeros when it does not answer.
HostPort Ask(CPeerManager& manager, const HostPort& reflector, uint64_t waitMs, CServerCheck& check, CToolLoop& loop) {
    constexpr uint64_t kStepMs = 10, kAgainMs = 900;  // the library asks again after a second
    const uint32_t before = manager.Answers();
    const uint64_t start = CToolLoop::Now();
    const auto waiting = [&loop](uint64_t until) { return CToolLoop::Now() < until && !loop.Interrupted(); };
    manager.AskReflector(reflector);
    while (manager.Answers() == before && waiting(start + waitMs) && IsThere(check)) loop.Wait(-1, kStepMs);
    if (manager.Answers() == before) return {};
    const HostPort seen = manager.Public();
    // On a long way it was asked more than once: the other answers must not count for the port that is asked next.
    const uint64_t taken = CToolLoop::Now() - start;
    while (taken >= kAgainMs && waiting(start + 2 * taken)) loop.Wait(-1, kStepMs);
    return seen;
}

std::string TextOf(const HostPort& host) { return host.ip == 0 ? "no answer" : host.Text(); }

void Show(const ProbeResult& result, const RelayTarget& mcu, uint16_t second) {
    std::printf("LAN address      %s\n", result.lan.Text().c_str());
    std::printf("public address   %s (seen by %s)\n", TextOf(result.first).c_str(), mcu.Text().c_str());
    std::printf("                 %s (seen by %s:%u)\n", TextOf(result.second).c_str(), mcu.host.c_str(), second);
    std::printf("NAT              %s\n", KindText(result.Kind()).c_str());
}

void ShowJson(const ProbeResult& result, const char* server) {
    const auto put = [](const HostPort& host) { return host.ip == 0 ? nlohmann::json() : nlohmann::json(host.Text()); };
    const NatKind kind = result.Kind();
    nlohmann::json same, translated;
    if (kind != NatKind::Unknown) {
        same = kind != NatKind::Differs;
        translated = kind != NatKind::None;
    }
    const nlohmann::json line = {
        {"lan", put(result.lan)}, {"public", put(result.first)}, {"public_second", put(result.second)},
        {"same_mapping", same},   {"translated", translated},    {"words", KindText(kind)},
        {"server", server}};
    std::printf("%s\n", line.dump().c_str());
}

int Run(const ProbeCommand& command) {
    RelayTarget mcu;
    std::string problem;
    int code = kExitUsage;
    if (ParseServer(command.mcu, command.usualMcu, mcu, problem)) {
        code = kExitFailed;
        if (ResolveTarget(mcu, problem)) problem.clear();
    }
    CToolLoop loop;
    CPeerManager manager(true, static_cast<uint32_t>(RandomID() >> 32) | 1U, false);
    if (problem.empty() && !manager.Ok()) problem = "cannot open a UDP endpoint";
    if (!problem.empty()) {
        std::fprintf(stderr, "lumo: %s\n", problem.c_str());
        return code;
    }
    const uint16_t second = command.second != 0 ? command.second : static_cast<uint16_t>(mcu.port + 1);
    const auto waitMs = static_cast<uint64_t>(command.waitSeconds * 1000);
    ProbeResult result;
    RelayRoute route;
    route.mcu = mcu;
    CServerCheck check(route, media::kFile);
    result.first = Ask(manager, {mcu.ips[0], mcu.port}, waitMs, check, loop);
    if (result.first.ip != 0) result.second = Ask(manager, {mcu.ips[0], second}, waitMs, check, loop);
    result.lan = manager.Lan();
    const bool failed = result.first.ip == 0 && !loop.Interrupted();
    const ServerTrouble trouble = failed ? check.Result() : ServerTrouble();
    if (command.json)
        ShowJson(result, trouble.Name());
    else
        Show(result, mcu, second);
    if (failed) std::fprintf(stderr, "lumo: %s\n", Printable(trouble.Text()).c_str());
    return result.first.ip == 0 ? kExitNobody : kExitDone;
}

}  // namespace

void AddProbeCommand(CCommand& root, int& exitCode) {
    auto command = std::make_shared<ProbeCommand>();
    CCommand probe = root.Sub("probe", "Show this host's addresses and what translates them");
    probe.Add("--mcu HOST[:PORT]", command->mcu, "A relay server, whose reflector is asked");
    probe.AddUsual("--mcu", kMcuVariable, command->usualMcu);
    probe.Add("--second PORT", command->second, "The reflector's second port; the next one unless given");
    probe.Add("--wait SECONDS", command->waitSeconds, "How long to wait for each answer")
        .Seconds(0.1, 60)
        .ShowDefault();
    probe.AddFlag("--json", command->json, "One JSON object instead of words");
    probe.AddSettings();
    probe.Example("lumo probe --mcu relay.example", "Whether peers can reach this host directly");
    probe.Exits({{kExitDone, "the server has answered"}, {kExitFailed, "failed"}, {kExitNobody, "no answer"}});
    probe.OnRun([command, &exitCode] { exitCode = Run(*command); });
}

}  // namespace lumo
