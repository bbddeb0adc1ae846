// The pictures of the bulk rows and of the row "path".
#pragma once

#include "bench/rows/measured.h"

#include <string>

namespace bench {

/// Two bar charts: MB/s with one core and free, and processor seconds per GB. Reliable transports only.
std::string DrawBulk(const Measurements& measurements, const std::string& caption);

/// Goodput against loss at 50 ms, and against the round trip at 1 %: one curve a driver.
std::string DrawPaths(const Measurements& measurements, const std::string& caption);

}  // namespace bench
