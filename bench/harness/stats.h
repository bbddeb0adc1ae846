// Middle and tail of a set of measurements.
#pragma once

#include "bench/harness/spec.h"

#include <string>
#include <utility>
#include <vector>

namespace bench {

/// The smallest value that at least `percent` of the values do not exceed; 0 of none.
double Percentile(std::vector<double> values, double percent);
/// "p50_us", "p90_us", "p99_us" and "max_us" of them, behind the prefix.
void AddTail(Values& values, const std::string& prefix, const std::vector<double>& microseconds);
/// The slope of the straight line nearest to the points (log x, log y): the exponent of their growth.
double Exponent(const std::vector<std::pair<double, double>>& points);
/// The middle value, or the mean of the two middle ones; 0 of none.
double Median(std::vector<double> values);

}  // namespace bench
