// Which runs a benchmark consists of.
#pragma once

#include "bench/harness/spec.h"

#include <string>
#include <utility>
#include <vector>

namespace bench {

/// One driver under one setting; run once a round.
struct CCase {
    std::string id;  // "lumo, one core"
    RunSpec spec;
};

/// The rows one may ask for: "bulk", "relay" and so on.
const std::vector<std::string>& RowNames();

/// What the rows need, each case once. `base` gives the amounts.
std::vector<CCase> PlanCases(const std::vector<std::string>& rows, const RunSpec& base);

/// The paths of the row "path", by their names.
const std::vector<std::pair<std::string, PathSpec>>& Paths();

/// The id of a driver's case over a path.
std::string PathCaseID(const std::string& driver, const std::string& path);

/// The id of a driver's case.
std::string CaseID(const std::string& driver, bool oneCore, bool logOn = false);

}  // namespace bench
