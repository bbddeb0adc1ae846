// Who may include whom.
#pragma once

#include <string>

/// Empty when the file may have that line; else what is wrong with it. Lines that include nothing are fine.
std::string LayerBreach(const std::string& path, const std::string& line);
