// What `lumo send` and `lumo receive` have in common on the command line and at their end.
#pragma once

#include "tools/lumo/commands/link_options.h"
#include "tools/lumo/net/loop.h"
#include "tools/lumo/net/path_choice.h"
#include "tools/lumo/net/peer_host.h"
#include "tools/lumo/net/relay_link.h"
#include "tools/lumo/net/server_watch.h"
#include "tools/lumo/transfer/messages.h"
#include "tools/lumo/ui/command_line.h"
#include "tools/lumo/ui/progress.h"

#include <cstdint>
#include <initializer_list>
#include <string>

namespace lumo {

/// What --tcp does for who takes part, and where the direct path knows UDP alone.
inline constexpr const char *kTcpHelp = "TCP instead of UDP: to the server, and directly where --path is auto",
                            *kTcpByServerHelp =
                                "TCP instead of UDP: to the server, and with --path auto through it alone",
                            *kTcpMakerHelp =
                                "Reach the server over TCP instead of UDP; who comes directly chooses for himself";

/// kExitSealed: frames came, and none that this side can open or take.
enum ExitCode { kExitDone = 0, kExitFailed = 1, kExitUsage = kUsageExit, kExitNobody = 3, kExitSealed = 4 };

struct TransferOptions {
    LinkOptions link;
    std::string mcu;
    std::string nearMcu;  ///< receivers only
    bool tcp = false;
    std::string proxy;
    std::string stats;  ///< a file; empty: none
    std::string path;   ///< as typed; empty: the usual choice
    bool forwarded = false;
    double waitSeconds = 0;
    bool json = false;
    bool quiet = false;

    /// `takes`: who receives, perhaps through a nearer server.
    void AddTo(CCommand& command, double defaultWait, bool takes);
    /// How to reach the server, and how to speak: what every command of a stream has.
    void AddServerTo(CCommand& command, const char* tcpHelp = "Reach the server over TCP instead of UDP");
    /// `--stats`, of those that carry something until they end.
    void AddStatsTo(CCommand& command);
    uint64_t WaitMs() const { return static_cast<uint64_t>(waitSeconds * 1000); }
    /// Through a proxy or a nearer server only the relay is usual: who names one of these wants to go by it.
    PathChoice Path() const;
    PeerOptions ToPeers(const RelayRoute& route, uint32_t userID) const;
    /// Checks and resolves everything; false with the problem to show and the code to exit with.
    bool ToRoute(const ShareLink& to, RelayRoute& route, std::string& problem, int& exitCode) const;
    /// The same of a plain channel at --mcu.
    bool ToRoute(uint32_t channel, RelayRoute& route, std::string& problem, int& exitCode) const;

private:
    bool ToNear(RelayRoute& route, std::string& problem) const;
};

/// Decimal, 1 to 4294967295; 0 when it is not.
uint32_t ParseChannel(const std::string& text);

inline constexpr const char* kNoRandomness = "the system gives no random bytes";
/// Passes on what the watch has just found.
void SayServerNews(CServerWatch::News news, CServerWatch& watch, CProgressPrinter& printer);

/// For who takes frames, behind what it waits for.
inline const char* PlainNote(const RelayRoute& route) {
    return route.secret.IsSet() ? "" : ", not sealed: the relay could read and alter what comes";
}

/// Waits until what was queued has been taken by the far side, two seconds at most, so that a goodbye gets out. The
/// last frame queued must be one that may be lost.
void DrainLink(const ILinkOut* link, CToolLoop& loop);

/// Says the engine's goodbye on its links and waits for it to leave; then the paths are closed.
template <class Engine, class Links, class Paths>
void SayGoodbye(Engine& engine, Links&& links, Paths& paths, ByeReason reason, CToolLoop& loop,
                std::initializer_list<const ILinkOut*> all) {
    engine.Leave(links, reason);
    engine.Leave(links, reason);  // leaves the queue once the first has arrived
    for (const ILinkOut* link : all) DrainLink(link, loop);
    paths.Close();
}

}  // namespace lumo
