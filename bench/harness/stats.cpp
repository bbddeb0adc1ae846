#include "bench/harness/stats.h"

#include <algorithm>
#include <cmath>

namespace bench {

double Percentile(std::vector<double> values, double percent) {
    if (values.empty()) return 0;
    const auto count = static_cast<double>(values.size());
    const auto rank = static_cast<long>(std::ceil(percent / 100 * count));
    const auto nth = values.begin() + std::clamp(rank - 1, 0L, static_cast<long>(values.size()) - 1);
    std::nth_element(values.begin(), nth, values.end());
    return *nth;
}

double Median(std::vector<double> values) {
    if (values.empty()) return 0;
    std::sort(values.begin(), values.end());
    const size_t half = values.size() / 2;
    return values.size() % 2 == 1 ? values[half] : (values[half - 1] + values[half]) / 2;
}

}  // namespace bench
