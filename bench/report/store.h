// Where results stay.
#pragma once

#include "bench/rows/targets.h"

#include <nlohmann/json.hpp>

#include <filesystem>
#include <string>
#include <vector>

namespace bench {

struct Results {
    std::vector<std::string> rows;
    std::vector<CCase> cases;
    Measurements measurements;
    std::vector<CJudged> judged;
    nlohmann::json machine;
    int rounds = 0;
};

/// Writes results.json, in which other rows stay as they are, the pictures of these rows, and their tables into the
/// folder's README.md where it has a place for them.
void Store(const std::filesystem::path& folder, const Results& results);

}  // namespace bench
