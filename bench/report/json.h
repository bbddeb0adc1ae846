// The result for machines: every run, every setting, every target.
#pragma once

#include "bench/rows/targets.h"

#include <nlohmann/json_fwd.hpp>

namespace bench {

/// `machines`: which machine each row was measured on.
nlohmann::json ToJson(const std::vector<CCase>& cases, const Measurements& measurements,
                      const std::vector<CJudged>& judged, const nlohmann::json& machines);

/// What was just measured, and of an earlier result what belongs to other rows.
nlohmann::json Merge(const nlohmann::json& earlier, nlohmann::json measured);

}  // namespace bench
