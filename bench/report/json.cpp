#include "bench/report/json.h"

#include "bench/harness/driver.h"
#include "bench/report/table.h"

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
            const json& machine) {
    json result{
        {"machine", machine}, {"transports", json::object()}, {"cases", json::array()}, {"targets", json::array()}};
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

}  // namespace bench
