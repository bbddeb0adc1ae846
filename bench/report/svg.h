// The picture of the bulk rows.
#pragma once

#include "bench/rows/measured.h"

#include <string>

namespace bench {

/// Two bar charts: MB/s with one core and free, and processor seconds per GB. Reliable transports only.
std::string DrawBulk(const Measurements& measurements, const std::string& caption);

}  // namespace bench
