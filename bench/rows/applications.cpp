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
    const char* name;
    PathSpec path;
    uint32_t frames;
    uint32_t frameLen;
};

const Application kApplications[] = {
    {"lumo-file", "75 ms, 1 %, twice", {100, 75, 1, 1}, kFileBlocks, kFileBlock},
    {"lumo-board", "40 ms", {100, 40, 0, 1}, kStrokes, 0},
    {"lumo-film", "50 ms, 1 %", {100, 50, 1, 1}, kFilmFrames, 0},
    {"lumo-screen", "no delay, 2 %", {1000, 0.2, 2, 20}, kScreens, kScreen},
    {"lumo-screen", "50 ms, 2 %", {100, 50, 2, 1}, kScreens, kScreen},
};

}  // namespace

void AddApplicationCases(const RunSpec& base, std::vector<CCase>& cases) {
    for (const Application& one : kApplications) {
        CCase added{PathCaseID(one.driver, one.name), base};
        added.spec.driver = one.driver;
        added.spec.path = one.path;
        added.spec.frames = added.spec.pacedFrames = one.frames;
        added.spec.frameLen = one.frameLen;
        added.spec.delays = true;
        cases.push_back(added);
    }
}

}  // namespace bench
