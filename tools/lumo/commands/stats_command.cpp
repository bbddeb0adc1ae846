#include "tools/lumo/commands/commands.h"

#include "tools/lumo/commands/transfer_options.h"
#include "tools/lumo/media/wall_clock.h"
#include "tools/lumo/net/loop.h"
#include "tools/lumo/net/target.h"
#include "tools/lumo/stats/stats_source.h"
#include "tools/lumo/stats/stats_table.h"
#include "tools/lumo/transfer/file_name.h"
#include "tools/lumo/ui/help_text.h"

#include <sys/ioctl.h>
#include <unistd.h>
#include <nlohmann/json.hpp>

#include <cstdio>
#include <memory>

namespace lumo {
namespace {

constexpr uint16_t kPagesPort = 7080;

struct StatsCommand {
    std::string server = "127.0.0.1:7080";
    std::string file;
    double interval = 1;
    uint64_t count = 0;
    bool json = false;
};

struct Room {
    size_t width = HelpWidth();
    size_t lines = 1000;
};

Room RoomOf(int terminal) {
    winsize size{};
    if (ioctl(terminal, TIOCGWINSZ, &size) != 0 || size.ws_col < 20 || size.ws_row < 3) return {};
    return {size.ws_col, size.ws_row - size_t{1}};
}

double Now() {
    const uint64_t milliseconds = WallClockUs() / 1000;
    return static_cast<double>(milliseconds) / 1000;
}

/// Says it of a program that has written nothing for a while.
std::string AgeOf(const nlohmann::json& stats) {
    constexpr double kFreshSeconds = 3;
    const auto time = stats.find("time");
    const double age = time != stats.end() && time->is_number() ? Now() - time->get<double>() : 0;
    return age < kFreshSeconds ? "" : "that was " + DurationText(age) + " ago: it has ended, or hangs\n";
}

/// A line for machines: what was read, without the past that a server tells as well, and when it was read.
std::string LineOf(nlohmann::json stats) {
    if (!stats.contains("time")) stats["time"] = Now();
    if (stats.contains("streams") && stats["streams"].is_array())
        for (nlohmann::json& stream : stats["streams"])
            if (stream.is_object()) stream.erase("history");
    return stats.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace) + "\n";
}

/// One look in words, or in JSON. False with the problem.
bool Look(const StatsCommand& command, const RelayTarget& pages, CStatsTable& table, const Room& room,
          std::string& text, std::string& problem) {
    nlohmann::json stats;
    const bool read =
        command.file.empty() ? ReadServerStats(pages, stats, problem) : ReadProgramStats(command.file, stats, problem);
    if (!read) return false;
    text = command.json ? LineOf(stats) : table.Text(stats, CToolLoop::Now(), room.width, room.lines - 1);
    if (!text.empty() && !command.json) text += AgeOf(stats);
    if (text.empty()) problem = "there are no figures of links";
    return !text.empty();
}

/// Until somebody wants no more. A table that is being watched outlasts a server that is started anew.
int Watch(const StatsCommand& command, const RelayTarget& pages) {
    constexpr const char* kWipe = "\x1b[H\x1b[J";
    CToolLoop loop;
    CStatsTable table;
    const bool live = !command.json && isatty(STDOUT_FILENO) == 1;
    uint64_t shown = 0;
    while (!loop.Interrupted()) {
        std::string text, problem;
        const bool good = Look(command, pages, table, live ? RoomOf(STDOUT_FILENO) : Room(), text, problem);
        if (!good && (!live || shown == 0)) {
            std::fprintf(stderr, "lumo: %s\n", Printable(problem).c_str());
            return kExitFailed;
        }
        if (!good) text = Printable(problem) + "\n";
        const char* before = live ? kWipe : !command.json && shown > 0 ? "\n" : "";
        std::printf("%s%s", before, text.c_str());
        if (std::fflush(stdout) != 0) return kExitFailed;  // nobody reads it any more
        if (++shown == command.count) break;
        loop.Wait(-1, static_cast<uint64_t>(command.interval * 1000));
    }
    return kExitDone;
}

int Run(const StatsCommand& command) {
    RelayTarget pages;
    std::string problem;
    if (ParseTarget(command.server, pages, problem, kPagesPort)) return Watch(command, pages);
    std::fprintf(stderr, "lumo: %s\n", Printable(problem).c_str());
    return kExitUsage;
}

}  // namespace

void AddStatsCommand(CCommand& root, int& exitCode) {
    auto command = std::make_shared<StatsCommand>();
    CCommand stats = root.Sub("stats", "Show the live links of a server, or of a program that runs with --stats");
    COption server = stats.Add("HOST[:PORT]", command->server, "Where a server has its pages").ShowDefault();
    stats.Add("--file FILE", command->file, "What a program writes with --stats FILE, instead of a server")
        .Excludes(server);
    stats.Add("--interval SECONDS", command->interval, "From one look to the next").Seconds(0.1, 3600).ShowDefault();
    stats.Add("--count NUMBER", command->count, "End after so many looks; else watch until interrupted");
    stats.AddFlag("--json", command->json, "A line of JSON for each look instead of a table");
    stats.Example("lumo stats", "The links of the server on this host, until interrupted");
    stats.Example("lumo stats --file live --json", "Those of lumo send --stats live, as lines for a program");
    stats.Exits({{kExitDone, "shown, or interrupted"}, {kExitFailed, "the server or the file gave nothing to show"}});
    stats.OnRun([command, &exitCode] { exitCode = Run(*command); });
}

}  // namespace lumo
