#include "bench/rows/measured.h"

#include "bench/harness/stats.h"

#include <algorithm>

namespace bench {

size_t CMeasured::Failed() const {
    return static_cast<size_t>(std::count_if(runs.begin(), runs.end(), [](const RunResult& run) { return !run.ok; }));
}

std::vector<double> CMeasured::Collect(const std::string& value) const {
    std::vector<double> values;
    for (const RunResult& run : runs) {
        const auto found = run.values.find(value);
        if (run.ok && found != run.values.end()) values.push_back(found->second);
    }
    return values;
}

double CMeasured::Median(const std::string& value) const { return bench::Median(Collect(value)); }

double CMeasured::Least(const std::string& value) const { return Percentile(Collect(value), 0); }

double CMeasured::Most(const std::string& value) const { return Percentile(Collect(value), 100); }

bool CMeasured::Has(const std::string& value) const { return !Collect(value).empty(); }

}  // namespace bench
