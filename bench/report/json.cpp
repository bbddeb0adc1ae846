#include "bench/report/json.h"

#include "bench/harness/driver.h"
#include "bench/report/table.h"

#include <nlohmann/json.hpp>

#include <set>
#include <utility>

using nlohmann::json;

namespace bench {

namespace {

json Medians(const CMeasured& measured) {
    json medians = json::object();
    for (const RunResult& run : measured.runs)
        for (const auto& [name, value] : run.values) medians[name] = measured.Median(name);
    return medians;
}

json Runs(const CMeasured& measured) {
    json runs = json::array();
    for (const RunResult& run : measured.runs)
        runs.push_back(run.ok ? json{{"ok", true}, {"values", run.values}} : json{{"ok", false}, {"why", run.why}});
    return runs;
}

}  // namespace

json ToJson(const std::vector<CCase>& cases, const Measurements& measurements, const std::vector<CJudged>& judged,
            const json& machines) {
    json result{
        {"machines", machines}, {"transports", json::object()}, {"cases", json::array()}, {"targets", json::array()}};
    for (const CCase& one : cases) {
        const CMeasured& measured = measurements.at(one.id);
        if (const CDriver* driver = FindDriver(one.spec.driver))
            result["transports"][one.spec.driver] = driver->settings();
        result["cases"].push_back({{"case", one.id},
                                   {"amounts", one.spec},
                                   {"failed", measured.Failed()},
                                   {"medians", Medians(measured)},
                                   {"runs", Runs(measured)}});
    }
    for (const CJudged& one : judged)
        result["targets"].push_back({{"row", one.target.row},
                                     {"of", one.target.of},
                                     {"against", one.target.against},
                                     {"value", one.target.value},
                                     {"limit", one.target.limit},
                                     {"at_least", one.target.atLeast},
                                     {"reached", one.reached},
                                     {"failed_runs", one.failedRuns},
                                     {"verdict", VerdictName(one.verdict)}});
    return result;
}

json Merge(const json& earlier, json measured) {
    std::set<std::string> planned;
    for (const CCase& one : PlanCases(RowNames(), {})) planned.insert(one.id);
    for (const json& one : measured["cases"]) planned.erase(one["case"]);
    json cases = json::array(), targets = json::array();
    for (const json& one : earlier["cases"])
        if (planned.count(one["case"])) cases.push_back(one);
    for (const json& one : earlier["targets"])
        if (!measured["machines"].contains(one["row"])) targets.push_back(one);
    for (const auto& [all, kept] : {std::pair{"cases", &cases}, {"targets", &targets}}) {
        for (const json& one : measured[all]) kept->push_back(one);
        measured[all] = *kept;
    }
    for (const char* all : {"machines", "transports"}) {
        json both = earlier[all];
        both.update(measured[all]);
        measured[all] = both;
    }
    return measured;
}

}  // namespace bench
