// Middle and tail of a set of measurements.
#pragma once

#include <vector>

namespace bench {

/// The smallest value that at least `percent` of the values do not exceed; 0 of none.
double Percentile(std::vector<double> values, double percent);
/// The middle value, or the mean of the two middle ones; 0 of none.
double Median(std::vector<double> values);

}  // namespace bench
