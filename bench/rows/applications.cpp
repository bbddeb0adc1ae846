#include "bench/rows/applications.h"

namespace bench {

namespace {

constexpr uint32_t kFileBlock = 50000, kFileBlocks = 4000;
constexpr uint32_t kStrokes = 1500;
constexpr uint32_t kFilmFrames = 900;
constexpr uint32_t kScreen = 64500;  // what the demo's screen of 320 by 200 takes
constexpr uint32_t kScreens = 200;

struct Application {
    const char* driver;
    const char* where;
    PathSpec path;
    uint32_t frames;
    uint32_t frameLen;
    const char* value;
    bool atLeast;
    double limit;
    const char* text;
};

const Application kApplications[] = {
    {"lumo-file", "75 ms, 1 %, twice", {100, 75, 1, 1}, kFileBlocks, kFileBlock, "path_MB/s", true, 10, "MB/s"},
    {"lumo-board", "40 ms, twice", {100, 40, 0, 1}, kStrokes, 0, "delay_max_us", false, 2000000, "us until complete"},
    {"lumo-film", "50 ms, 1 %", {100, 50, 1, 1}, kFilmFrames, 0, "delay_p99_us", false, 105000, "us, p99"},
    {"lumo-screen", "2 %", {1000, 0.2, 2, 20}, kScreens, kScreen, "delay_p50_us", false, 15000, "us, p50"},
    {"lumo-screen", "50 ms, 2 %", {100, 50, 2, 1}, kScreens, kScreen, "delay_p50_us", false, 95000, "us, p50"},
};

}  // namespace

void AddApplicationCases(const RunSpec& base, std::vector<CCase>& cases) {
    for (const Application& one : kApplications) {
        CCase added{PathCaseID(one.driver, one.where), base};
        added.spec.driver = one.driver;
        added.spec.path = one.path;
        added.spec.frames = added.spec.pacedFrames = one.frames;
        added.spec.frameLen = one.frameLen;
        added.spec.delays = true;
        cases.push_back(added);
    }
}

std::vector<CTarget> ApplicationTargets() {
    std::vector<CTarget> targets;
    for (const Application& one : kApplications)
        targets.push_back(
            {"applications", one.text, one.value, PathCaseID(one.driver, one.where), "", one.atLeast, one.limit});
    return targets;
}

}  // namespace bench
