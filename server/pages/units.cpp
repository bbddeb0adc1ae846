#include "server/pages/units.h"

#include <array>
#include <cstdio>

namespace {

template <size_t kUnits>
std::string InUnits(uint64_t number, double step, const std::array<const char*, kUnits>& units) {
    auto value = static_cast<double>(number);
    size_t unit = 0;
    while (value >= step && unit + 1 < kUnits) {
        value /= step;
        ++unit;
    }
    const bool whole = unit == 0 || value == static_cast<double>(static_cast<uint64_t>(value));
    char text[32];
    std::snprintf(text, sizeof(text), whole ? "%.0f %s" : "%.1f %s", value, units[unit]);
    return text;
}

}  // namespace

std::string RateText(uint64_t bytesPerSecond) {
    return InUnits<4>(bytesPerSecond, 1000, {"B/s", "kB/s", "MB/s", "GB/s"});
}

std::string BytesText(uint64_t bytes) { return InUnits<4>(bytes, 1024, {"B", "KiB", "MiB", "GiB"}); }

std::string PermilleText(uint64_t permille) {
    return std::to_string(permille / 10) + "." + std::to_string(permille % 10) + " %";
}

std::string CountText(uint64_t count) {
    std::string text = std::to_string(count);
    for (size_t at = text.size(); at > 3;) text.insert(at -= 3, 1, ',');
    return text;
}

std::string AgeText(uint64_t seconds) {
    if (seconds < 100) return std::to_string(seconds) + " s";
    return seconds < 6000 ? std::to_string(seconds / 60) + " min" : std::to_string(seconds / 3600) + " h";
}
