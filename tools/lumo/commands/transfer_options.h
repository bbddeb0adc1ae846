// What `lumo send` and `lumo receive` have in common on the command line and at their end.
#pragma once

#include "tools/lumo/net/relay_link.h"
#include "tools/lumo/ui/progress.h"

#include <CLI/CLI.hpp>

#include <cstdint>
#include <string>

namespace lumo {

enum ExitCode { kExitDone = 0, kExitFailed = 1, kExitUsage = 2, kExitNobody = 3 };

struct TransferOptions {
    std::string mcu;
    std::string nearMcu;  ///< receivers only
    bool tcp = false;
    std::string proxy;
    double waitSeconds = 0;
    bool json = false;
    bool quiet = false;

    void AddTo(CLI::App& command, double defaultWait);
    uint64_t WaitMs() const { return static_cast<uint64_t>(waitSeconds * 1000); }
    /// Checks and resolves everything; false with the problem to show and the code to exit with.
    bool ToRoute(uint32_t channel, RelayRoute& route, std::string& problem, int& exitCode) const;

private:
    bool ToNear(RelayRoute& route, std::string& problem) const;
};

/// Decimal, 1 to 4294967295; 0 when it is not.
uint32_t ParseChannel(const std::string& text);

/// Waits until what was queued has been taken by the relay, two seconds at most, so that a goodbye gets out. The last
/// frame queued must be one that may be lost.
void DrainLink(CRelayLink& link, class CToolLoop& loop);

}  // namespace lumo
