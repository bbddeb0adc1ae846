#include "tools/lumo/media/pointer_input.h"

#include "tools/lumo/media/desktop_frame.h"

#include <cstdio>

namespace lumo {
namespace {

CPointerInput::Point Parse(const std::string& line) {
    constexpr unsigned kMost = ViewReport::kNowhere - 1;
    unsigned x = 0, y = 0;
    int end = 0;
    // NOLINTNEXTLINE(cert-err34-c): five digits always fit, and the end is compared
    const int found = std::sscanf(line.c_str(), "%5u %5u %n", &x, &y, &end);
    const bool good = found == 2 && static_cast<size_t>(end) == line.size() && x <= kMost && y <= kMost &&
                      line.find_first_of("+-") == std::string::npos;
    if (!good) return {ViewReport::kNowhere, ViewReport::kNowhere};
    return {static_cast<uint16_t>(x), static_cast<uint16_t>(y)};
}

}  // namespace

std::optional<CPointerInput::Point> CPointerInput::Feed(const char* data, size_t length) {
    std::optional<Point> last;
    for (const char byte : std::string(data, length)) {
        if (byte == '\n') {
            last = Parse(m_strLine);
            m_strLine.clear();
        } else if (m_strLine.size() < kMaxLine) {
            m_strLine += byte;
        }
    }
    return last;
}

}  // namespace lumo
