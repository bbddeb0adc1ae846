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

/// Those that run where nobody asks for any: what goes over emulated paths takes hours, and root.
std::vector<std::string> UsualRows();

/// What the rows need, each case once. `base` gives the amounts.
std::vector<CCase> PlanCases(const std::vector<std::string>& rows, const RunSpec& base);

/// The paths of the row "path", by their names.
const std::vector<std::pair<std::string, PathSpec>>& Paths();

/// The drivers of the row "path".
const std::vector<const char*>& PathDrivers();

/// The id of a driver's case over a path.
std::string PathCaseID(const std::string& driver, const std::string& path);

/// Two that share one bottleneck, one of them there before the other.
struct Sharing {
    const char *driver, *beside;
    bool besideFirst;
    double queueProducts;
};

/// What the row "sharing" consists of.
const std::vector<Sharing>& Sharings();

/// The id of its case: "tcp-bbr, then lumo-wide, 4 queues".
std::string SharingCaseID(const Sharing& sharing);

/// The id of a driver's case.
std::string CaseID(const std::string& driver, bool oneCore, bool logOn = false);

}  // namespace bench
