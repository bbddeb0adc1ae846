// What people do with the programs over long paths.
#pragma once

#include "bench/rows/targets.h"

#include <vector>

namespace bench {

/// A file of 200 MB and a board of 1,500 strokes through a relay server, a film and a shared screen.
void AddApplicationCases(const RunSpec& base, std::vector<CCase>& cases);
/// What they shall reach.
std::vector<CTarget> ApplicationTargets();

}  // namespace bench
