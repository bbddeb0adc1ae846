// Numbers as people read them.
#pragma once

#include <cstdint>
#include <string>

/// "2.5 MB/s"
std::string RateText(uint64_t bytesPerSecond);
/// "64 MiB"
std::string BytesText(uint64_t bytes);
/// "1.3 %"
std::string PermilleText(uint64_t permille);
/// "12,345"
std::string CountText(uint64_t count);
/// "40 s", "3 min", "2 h"
std::string AgeText(uint64_t seconds);
