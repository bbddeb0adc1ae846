#include "bench/rows/plan.h"

#include "bench/rows/applications.h"

#include <algorithm>
#include <map>

namespace bench {

namespace {

constexpr uint32_t kPicture = 200 * 1024;  // a screen of 1920 by 1080 as JPEG

struct Needs {
    std::vector<const char*> drivers;
    bool settings = true;    // one core and free; otherwise free only
    bool log = false;        // once more with the log on
    uint32_t frameLen = 0;   // frames of that length, as many as there are pictures, and how long each took
    bool overPaths = false;  // each driver over each path, for a time
};

const std::map<std::string, Needs>& AllNeeds() {
    static const std::map<std::string, Needs> needs = {
        {"bulk", {{"lumo", "lumo-wide", "enet", "srt", "usrsctp", "tcp", "sendto", "sendmmsg", "gso"}}},
        {"relay", {{"lumo", "lumo-relay"}}},
        {"round-trip", {{"lumo-ping", "enet-ping", "tcp-ping"}}},
        {"tcp", {{"lumo-tcp", "tcp"}}},
        {"idle", {{"lumo-idle"}, false}},
        {"log", {{"lumo"}, true, true}},
        {"audio", {{"audio-sendto", "audio-sendmmsg", "lumo-audio", "lumo-audio-relay"}}},
        {"video", {{"lumo-video", "lumo-video-stream", "lumo-video-relay"}, false}},
        {"desktop", {{"lumo-desktop", "lumo-desktop-tcp", "tcp-pictures"}, true, false, kPicture}},
        {"path",
         {{"lumo", "lumo-wide", "lumo-tcp", "tcp-cubic", "tcp-bbr", "srt", "enet", "usrsctp"}, false, false, 0, true}},
    };
    return needs;
}

void AddPathCases(const std::vector<const char*>& drivers, const RunSpec& base, std::vector<CCase>& cases) {
    for (const auto& [name, path] : Paths())
        for (const char* driver : drivers) {
            CCase added{PathCaseID(driver, name), base};
            added.spec.driver = driver;
            added.spec.path = path;
            added.spec.seconds = base.pathSeconds;
            added.spec.frames = UINT32_MAX;
            cases.push_back(added);
        }
}

}  // namespace

const std::vector<std::string>& RowNames() {
    static const std::vector<std::string> names = {"bulk",  "relay", "round-trip", "tcp",  "log",         "idle",
                                                   "audio", "video", "desktop",    "path", "applications"};
    return names;
}

const std::vector<std::pair<std::string, PathSpec>>& Paths() {
    static const std::vector<std::pair<std::string, PathSpec>> paths = {
        {"50 ms", {100, 50, 0, 1}},
        {"50 ms, 0.1 %", {100, 50, 0.1, 1}},
        {"50 ms, 1 %", {100, 50, 1, 1}},
        {"50 ms, 5 %", {100, 50, 5, 1}},
        {"150 ms, 1 %", {100, 150, 1, 1}},
        {"20 Mbit/s, 300 ms, 1 %", {20, 300, 1, 1}},
        {"400 Mbit/s, 50 ms, 0.1 %", {400, 50, 0.1, 1}},
        {"50 ms, quarter of a queue", {100, 50, 0, 0.25}},
        {"50 ms, 4 queues", {100, 50, 0, 4}},
    };
    return paths;
}

std::string PathCaseID(const std::string& driver, const std::string& path) { return driver + " over " + path; }

std::string CaseID(const std::string& driver, bool oneCore, bool logOn) {
    return driver + (logOn ? " with log" : "") + (oneCore ? ", one core" : ", free");
}

std::vector<CCase> PlanCases(const std::vector<std::string>& rows, const RunSpec& base) {
    std::vector<CCase> cases;
    const auto add = [&](const Needs& needs, const char* driver, bool oneCore, bool logOn) {
        const std::string id = CaseID(driver, oneCore, logOn);
        if (std::any_of(cases.begin(), cases.end(), [&](const CCase& other) { return other.id == id; })) return;
        CCase added{id, base};
        added.spec.driver = driver;
        added.spec.oneCore = oneCore;
        added.spec.logOn = logOn;
        if (needs.frameLen > 0) {
            added.spec.delays = true;
            added.spec.frameLen = needs.frameLen;
            added.spec.frames = base.pictures;
        }
        cases.push_back(added);
    };
    for (const std::string& row : rows) {
        if (row == "applications") {
            AddApplicationCases(base, cases);
            continue;
        }
        const Needs& needs = AllNeeds().at(row);
        if (needs.overPaths) {
            AddPathCases(needs.drivers, base, cases);
            continue;
        }
        for (const char* driver : needs.drivers)
            for (const bool oneCore : {true, false}) {
                if (oneCore && !needs.settings) continue;
                add(needs, driver, oneCore, false);
                if (needs.log) add(needs, driver, oneCore, true);
            }
    }
    return cases;
}

}  // namespace bench
