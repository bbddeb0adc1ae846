#include "bench/rows/plan.h"

#include "bench/rows/applications.h"

#include <algorithm>
#include <map>

namespace bench {

namespace {

constexpr uint32_t kPicture = 200 * 1024;  // a screen of 1920 by 1080 as JPEG

enum class Over { Loopback, Paths, OnePath };

struct Needs {
    std::vector<const char*> drivers;
    bool settings = true;   // one core and free; otherwise free only
    bool log = false;       // once more with the log on
    uint32_t frameLen = 0;  // frames of that length, as many as there are pictures, and how long each took
    Over over = Over::Loopback;
};

const std::map<std::string, Needs>& AllNeeds() {
    static const std::map<std::string, Needs> needs = {
        {"bulk", {{"lumo", "lumo-wide", "lumo-sealed", "enet", "srt", "usrsctp", "tcp", "sendto", "sendmmsg", "gso"}}},
        {"relay", {{"lumo", "lumo-relay"}}},
        {"round-trip", {{"lumo-ping", "enet-ping", "tcp-ping"}}},
        {"tcp", {{"lumo-tcp", "tcp"}}},
        {"idle", {{"lumo-idle"}, false}},
        {"log", {{"lumo"}, true, true}},
        {"audio", {{"audio-sendto", "audio-sendmmsg", "lumo-audio", "lumo-audio-sealed", "lumo-audio-relay"}}},
        {"video", {{"lumo-video", "lumo-video-wide", "lumo-video-stream", "lumo-video-relay"}, false}},
        {"desktop", {{"lumo-desktop", "lumo-desktop-tcp", "tcp-pictures"}, true, false, kPicture}},
        {"path", {PathDrivers(), false, false, 0, Over::Paths}},
        {"sharing", {{}, false, false, 0, Over::OnePath}},
    };
    return needs;
}

/// A case that ends after that time, however many frames there are.
CCase TimedCase(const std::string& id, const char* driver, const PathSpec& path, double seconds, const RunSpec& base) {
    CCase added{id, base};
    added.spec.driver = driver;
    added.spec.path = path;
    added.spec.seconds = seconds;
    added.spec.frames = UINT32_MAX;
    return added;
}

void AddPathCases(const std::vector<const char*>& drivers, const RunSpec& base, std::vector<CCase>& cases) {
    for (const auto& [name, path] : Paths())
        for (const char* driver : drivers)
            cases.push_back(TimedCase(PathCaseID(driver, name), driver, path, base.pathSeconds, base));
}

/// 60 s in common with 5 s of one alone before them, or shorter in the same proportion.
void AddSharingCases(const RunSpec& base, std::vector<CCase>& cases) {
    const double pause = base.pathSeconds * 5 / 12;
    for (const Sharing& sharing : Sharings()) {
        const PathSpec path{100, 50, 0, sharing.queueProducts};
        cases.push_back(TimedCase(SharingCaseID(sharing), sharing.driver, path, 12 * pause, base));
        RunSpec& spec = cases.back().spec;
        spec.beside = sharing.beside;
        spec.besideFirst = sharing.besideFirst;
        spec.pauseSeconds = pause;
    }
}

}  // namespace

const std::vector<std::string>& RowNames() {
    static const std::vector<std::string> names = {"bulk",  "relay", "round-trip", "tcp",  "log",     "idle",
                                                   "audio", "video", "desktop",    "path", "sharing", "applications"};
    return names;
}

std::vector<std::string> UsualRows() {
    std::vector<std::string> rows = RowNames();
    std::erase_if(rows, [](const std::string& row) {
        return !AllNeeds().count(row) || AllNeeds().at(row).over != Over::Loopback;
    });
    return rows;
}

const std::vector<const char*>& PathDrivers() {
    static const std::vector<const char*> drivers = {"lumo-wide", "lumo",     "lumo-tcp", "tcp-bbr", "tcp-cubic",
                                                     "quic-bbr2", "srt-live", "srt",      "usrsctp", "enet"};
    return drivers;
}

const std::vector<std::pair<std::string, PathSpec>>& Paths() {
    static const std::vector<std::pair<std::string, PathSpec>> paths = {
        {"20 ms", {100, 20, 0, 1}},
        {"20 ms, 1 %", {100, 20, 1, 1}},
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

const std::vector<Sharing>& Sharings() {
    static const std::vector<Sharing> sharings = [] {
        std::vector<Sharing> all;
        for (const double queues : {1.0, 4.0}) {
            for (const char* beside : {"tcp-cubic", "tcp-bbr"})
                for (const bool besideFirst : {false, true}) all.push_back({"lumo-wide", beside, besideFirst, queues});
            all.push_back({"lumo-wide", "lumo-wide", true, queues});
        }
        return all;
    }();
    return sharings;
}

std::string SharingCaseID(const Sharing& sharing) {
    const std::string queues = sharing.queueProducts == 1 ? "1 queue" : "4 queues";
    return std::string(sharing.besideFirst ? sharing.beside : sharing.driver) + ", then " +
           (sharing.besideFirst ? sharing.driver : sharing.beside) + ", " + queues;
}

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
        if (needs.over == Over::Paths) AddPathCases(needs.drivers, base, cases);
        if (needs.over == Over::OnePath) AddSharingCases(base, cases);
        if (needs.over != Over::Loopback) continue;
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
