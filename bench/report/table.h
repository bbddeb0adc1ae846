// The result for people's terminals.
#pragma once

#include "bench/rows/targets.h"

#include <ostream>

namespace bench {

/// Every case: medians, spread and failures.
void PrintMeasurements(std::ostream& out, const std::vector<CCase>& cases, const Measurements& measurements);

/// Every target with "met", "MISSED" or "NOT MEASURED".
void PrintTargets(std::ostream& out, const std::vector<CJudged>& judged);

/// "met" and so on.
const char* VerdictName(Verdict verdict);

}  // namespace bench
