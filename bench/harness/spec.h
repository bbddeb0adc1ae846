// What one run does and what came of it.
#pragma once

#include "bench/path/path_spec.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <cstdint>
#include <map>
#include <string>

namespace bench {

/// Travels to both processes of a run.
struct RunSpec {
    std::string driver;
    bool oneCore = false;  // every process of the run on the same core
    bool logOn = false;    // the library's log written to a file
    uint32_t frames = 2000;
    uint32_t frameLen = 64 * 1024;
    uint32_t roundTrips = 12000;
    uint32_t sinks = 1000;
    uint32_t idleSeconds = 10;
    bool delays = false;         // of a bulk run: measure how long each frame took
    uint32_t burstFrames = 400;  // of a fan-out run, as fast as they go
    uint32_t pacedFrames = 150;  // of a run or a part of one that keeps the pace of its medium
    uint32_t pictures = 1000;    // of a desktop run
    double pathSeconds = 12;     // of a run over a path
    double seconds = 0;          // of a bulk run: ends then, however many frames there are; 0: with the last frame
    int64_t countFromNs = 0;     // by the clock of all processes: when the seconds begin; 0: with the first frame
    PathSpec path;               // between the two processes, or between each and the relay server
    std::string beside;          // the driver of a second pair of processes over the same path; empty: there is none
    bool besideFirst = false;    // which of the two pairs is there first
    double pauseSeconds = 0;     // how much later the other one begins
    std::string lumoProgram;     // of this run
    std::string folder;          // where it may leave files

    /// How long it takes at least.
    double LeastSeconds() const { return pauseSeconds + seconds; }
    /// Of a run over a path: what senders are given to find its rate, 2 s or 9 round trips. 0: it ends before that.
    double SettlingSeconds() const {
        const double needed = std::max(2.0, 9 * path.roundTripMs / 1000);
        return path.IsEmulated() && needed < seconds ? needed : 0;
    }
};
NLOHMANN_DEFINE_TYPE_NON_INTRUSIVE(RunSpec, driver, oneCore, logOn, frames, frameLen, roundTrips, sinks, idleSeconds,
                                   delays, burstFrames, pacedFrames, pictures, pathSeconds, seconds, countFromNs, path,
                                   beside, besideFirst, pauseSeconds, lumoProgram, folder)

/// Named numbers: "MB/s", "cpu_s_per_GB", "p50_us" ...
using Values = std::map<std::string, double>;

struct RunResult {
    bool ok = false;
    std::string why;  // of a failure
    Values values;
};

inline constexpr double kMega = 1e6;
inline constexpr double kGiga = 1e9;

}  // namespace bench
