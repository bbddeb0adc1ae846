// lumo_bench: measures the library beside other transports, in one interleaved run.
#include "bench/harness/child.h"
#include "bench/harness/run.h"
#include "bench/report/machine.h"
#include "bench/report/store.h"
#include "bench/report/table.h"

#include <CLI/CLI.hpp>

#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <iostream>

using namespace bench;

namespace {

struct Options {
    std::vector<std::string> rows;
    std::vector<std::string> drivers;
    std::vector<std::string> paths;
    int rounds = 5;
    std::string outFolder;
    RunSpec amounts;
    RunOptions run;
    int childFd = -1;
};

void Describe(CLI::App& app, Options& options) {
    app.add_option("--only", options.rows,
                   "Only these rows: " + CLI::detail::join(RowNames(), ", ") + " (default: all on loopback)")
        ->delimiter(',')
        ->check(CLI::IsMember(RowNames()));
    app.add_option("--drivers", options.drivers, "Of those rows only these drivers")->delimiter(',');
    app.add_option("--rounds", options.rounds, "Runs of each case; the median counts")
        ->check(CLI::PositiveNumber)
        ->capture_default_str();
    app.add_option("--frames", options.amounts.frames, "Frames of a bulk run")->check(CLI::Range(2U, 1000000U));
    app.add_option("--round-trips", options.amounts.roundTrips, "Of a round-trip run")->check(CLI::PositiveNumber);
    app.add_option("--idle-seconds", options.amounts.idleSeconds, "Of an idle run")->check(CLI::PositiveNumber);
    app.add_option("--sinks", options.amounts.sinks, "Of idle, audio and video runs")->check(CLI::PositiveNumber);
    app.add_option("--burst-frames", options.amounts.burstFrames, "Of an audio run, as fast as they go")
        ->check(CLI::PositiveNumber);
    app.add_option("--paced-frames", options.amounts.pacedFrames, "Of an audio or video run, at the medium's pace")
        ->check(CLI::PositiveNumber);
    app.add_option("--pictures", options.amounts.pictures, "Of a desktop run")->check(CLI::Range(2U, 1000000U));
    app.add_option("--path-seconds", options.amounts.pathSeconds,
                   "Of a run over a path; sharing rows take 5 times that")
        ->check(CLI::PositiveNumber);
    app.add_option("--paths", options.paths,
                   "Of the row path only these paths, of sharing only these queues, e.g. \"50 ms, 1 %;4 queues\"")
        ->delimiter(';');
    app.add_option("--deadline", options.run.deadlineSeconds, "Seconds after which a run is killed")
        ->check(CLI::PositiveNumber)
        ->capture_default_str();
    app.add_option("--out", options.outFolder,
                   "Where results.json and the pictures go, beside what they have of other rows (default: docs/bench, "
                   "for full runs of rows)");
    app.add_option("--lumo", options.run.lumoProgram, "The lumo program that is the relay server");
    app.add_option("--child", options.childFd)->group("");
}

std::string BesideThisProgram(const char* path) {
    return (std::filesystem::read_symlink("/proc/self/exe").parent_path() / path).lexically_normal();
}

/// Of its rows: nothing is left out or shortened.
bool IsFull(const Options& options) {
    const RunSpec full;
    return options.drivers.empty() && options.paths.empty() && options.rounds >= 5 &&
           options.amounts.frames == full.frames && options.amounts.roundTrips == full.roundTrips &&
           options.amounts.idleSeconds == full.idleSeconds && options.amounts.sinks == full.sinks &&
           options.amounts.burstFrames == full.burstFrames && options.amounts.pacedFrames == full.pacedFrames &&
           options.amounts.pictures == full.pictures && options.amounts.pathSeconds == full.pathSeconds;
}

bool IsChosen(const CCase& one, const Options& options) {
    if (!options.drivers.empty() && std::count(options.drivers.begin(), options.drivers.end(), one.spec.driver) == 0)
        return false;
    return options.paths.empty() ||
           std::any_of(options.paths.begin(), options.paths.end(), [&](const std::string& name) {
               return one.id.ends_with((one.spec.beside.empty() ? " over " : ", ") + name);
           });
}

std::vector<CCase> ChosenCases(const Options& options) {
    std::vector<CCase> cases = PlanCases(options.rows, options.amounts);
    std::erase_if(cases, [&](const CCase& one) { return !IsChosen(one, options); });
    return cases;
}

/// One line that the next one replaces; nothing into files and pipes.
void ShowProgress(const std::string& text) {
    if (isatty(STDERR_FILENO)) std::cerr << text << "\033[K\r" << std::flush;
}

Measurements RunAll(const std::vector<CCase>& cases, const Options& options) {
    Measurements measurements;
    for (const CCase& one : cases) measurements[one.id].what = one;
    for (int round = 1; round <= options.rounds; ++round)
        for (const CCase& one : cases) {
            ShowProgress("round " + std::to_string(round) + " of " + std::to_string(options.rounds) + ": " + one.id);
            measurements[one.id].runs.push_back(Run(one.spec, options.run));
            const RunResult& result = measurements[one.id].runs.back();
            if (!result.ok) std::cerr << one.id << ": run FAILED: " << result.why << '\n';
        }
    ShowProgress("");
    return measurements;
}

int RunBench(Options& options) {
    if (options.outFolder.empty() && IsFull(options)) options.outFolder = LUMO_SOURCE_DIR "/docs/bench";
    if (options.rows.empty()) options.rows = UsualRows();
    if (options.run.lumoProgram.empty()) options.run.lumoProgram = BesideThisProgram("../tools/lumo/lumo");
    char temp[] = "/tmp/lumo_bench.XXXXXX";
    if (!mkdtemp(temp)) return 1;
    options.run.tempFolder = temp;

    Results results;
    results.rows = options.rows;
    results.rounds = options.rounds;
    results.machine = DescribeMachine();
    results.machine["load before"] = LoadAverage();
    results.cases = ChosenCases(options);
    results.measurements = RunAll(results.cases, options);
    results.machine["load after"] = LoadAverage();
    std::filesystem::remove_all(temp);

    results.judged = Judge(options.rows, results.measurements);
    PrintMeasurements(std::cout, results.cases, results.measurements);
    PrintTargets(std::cout, results.judged);
    if (!options.outFolder.empty()) Store(options.outFolder, results);
    return 0;
}

}  // namespace

int main(int argc, char** argv) {
    CLI::App app("Measures lumomedia beside other transports. Exit 0 also when a target is missed.");
    Options options;
    Describe(app, options);
    CLI11_PARSE(app, argc, argv);
    if (options.childFd >= 0) return RunChild(options.childFd);
    try {
        return RunBench(options);
    } catch (const std::exception& error) {
        std::cerr << "lumo_bench: " << error.what() << '\n';
        return 1;
    }
}
