// What the runs of a case came to.
#pragma once

#include "bench/rows/plan.h"

#include <map>
#include <string>
#include <vector>

namespace bench {

struct CMeasured {
    CCase what;
    std::vector<RunResult> runs;

    size_t Failed() const;
    bool Any() const { return Failed() < runs.size(); }
    /// Of the runs that did not fail; 0 when there is none or none has the value.
    double Median(const std::string& value) const;
    double Least(const std::string& value) const;
    double Most(const std::string& value) const;
    bool Has(const std::string& value) const;

private:
    std::vector<double> Collect(const std::string& value) const;
};

/// By case id.
using Measurements = std::map<std::string, CMeasured>;

}  // namespace bench
