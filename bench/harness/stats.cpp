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

void AddTail(Values& values, const std::string& prefix, const std::vector<double>& microseconds) {
    for (const int percent : {50, 90, 99})
        values[prefix + "p" + std::to_string(percent) + "_us"] = Percentile(microseconds, percent);
    values[prefix + "max_us"] = Percentile(microseconds, 100);
}

double Exponent(const std::vector<std::pair<double, double>>& points) {
    double x = 0, y = 0, xx = 0, xy = 0;
    for (const auto& [px, py] : points) {
        const double lx = std::log(px);
        const double ly = std::log(py);
        x += lx;
        y += ly;
        xx += lx * lx;
        xy += lx * ly;
    }
    const auto count = static_cast<double>(points.size());
    const double spread = count * xx - x * x;
    return spread > 0 ? (count * xy - x * y) / spread : 0;
}

double Median(std::vector<double> values) {
    if (values.empty()) return 0;
    std::sort(values.begin(), values.end());
    const size_t half = values.size() / 2;
    return values.size() % 2 == 1 ? values[half] : (values[half - 1] + values[half]) / 2;
}

}  // namespace bench
