// The demo's live streams: what is published, by which ways it is heard, and what of it arrived.
#pragma once

#include "tools/lumo/demo/child_process.h"

#include <nlohmann/json.hpp>

#include <cstdint>
#include <list>
#include <optional>
#include <string>
#include <vector>

namespace lumo {

/// A medium that the demo publishes: a new one is a row of StreamMedia().
struct StreamMedium {
    const char* name;    ///< on the command line
    const char* file;    ///< in the demo's folder
    const char* frames;  ///< how `lumo subscribe` calls what it counts
    const char* lost;    ///< and what is missing of it
    uint32_t channel;    ///< at the first server; the next one is at the second, for the lossy path
    uint32_t fewest;     ///< frames that must come in kStreamSeconds
    bool (*make)(const std::string& path);
};
const std::vector<StreamMedium>& StreamMedia();

inline constexpr int kStreamSeconds = 2;

/// Where the demo's servers and helpers are.
struct StreamPlaces {
    std::string mcu, secondMcu, lossyMcu;
    std::string loss;
};
/// A way to hear a stream.
struct StreamWay {
    std::string path;  ///< for the table
    std::vector<std::string> words;
    bool lossy = false;
};
std::vector<StreamWay> StreamWays(const StreamPlaces& places);

/// One subscriber and what became of it.
struct StreamRow {
    const StreamMedium* medium = nullptr;
    std::string path;
    double loss = 0;  ///< share that its way loses
    CChildProcess subscriber;

    uint64_t frames = 0;
    uint64_t lost = 0;
    std::optional<double> jitterMs, delayMs, lateDelayMs;  ///< of media that measure them; median, 99th percentile
    bool good = false;
    std::string problem;
};

/// Fills the row from the last event that its subscriber wrote.
void JudgeStream(StreamRow& row, int exitCode, const nlohmann::json& end);

std::string StreamTable(const std::list<StreamRow>& rows);

}  // namespace lumo
