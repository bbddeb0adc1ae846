// The machine and the build that the figures belong to.
#pragma once

#include <nlohmann/json_fwd.hpp>

namespace bench {

/// Cores, processor, kernel, compiler, socket buffer limits, load.
nlohmann::json DescribeMachine();

/// Runnable processes averaged over the last minute; figures of a busy machine mean little.
double LoadAverage();

}  // namespace bench
