// Where the figures of `lumo stats` come from.
#pragma once

#include "tools/lumo/net/target.h"

#include <nlohmann/json_fwd.hpp>

#include <string>

namespace lumo {

/// The streams of a server, from its pages. False with the problem.
bool ReadServerStats(const RelayTarget& pages, nlohmann::json& stats, std::string& problem);

/// The last whole line of what a program writes with --stats. The same.
bool ReadProgramStats(const std::string& path, nlohmann::json& stats, std::string& problem);

}  // namespace lumo
