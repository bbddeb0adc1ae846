// The result for machines: every run, every setting, every target.
#pragma once

#include "bench/rows/targets.h"

#include <nlohmann/json.hpp>

namespace bench {

nlohmann::json ToJson(const std::vector<CCase>& cases, const Measurements& measurements,
                      const std::vector<CJudged>& judged, const nlohmann::json& machine);

}  // namespace bench
