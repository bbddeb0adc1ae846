#include "server/pages/graph.h"

#include <algorithm>

namespace {

constexpr size_t kWidth = 300;  // in the graph's own units
constexpr size_t kHeight = 40;

}  // namespace

std::string EscapeHtml(const std::string& text) {
    std::string escaped;
    for (char c : text) {
        switch (c) {
            case '&':
                escaped += "&amp;";
                break;
            case '<':
                escaped += "&lt;";
                break;
            case '>':
                escaped += "&gt;";
                break;
            case '"':
                escaped += "&quot;";
                break;
            case '\'':
                escaped += "&#39;";
                break;
            default:
                escaped += c;
        }
    }
    return escaped;
}

std::string GraphSvg(const std::vector<uint32_t>& values, size_t room, uint32_t least, const char* cssClass,
                     const std::string& title) {
    std::string svg = "<svg class=\"graph " + EscapeHtml(cssClass) + "\" viewBox=\"0 0 " + std::to_string(kWidth) +
                      " " + std::to_string(kHeight) + "\" preserveAspectRatio=\"none\" role=\"img\"><title>" +
                      EscapeHtml(title) + "</title>";
    if (values.empty() || room < 2 || values.size() > room) return svg + "</svg>";
    const uint64_t top = std::max({*std::max_element(values.begin(), values.end()), least, 1U});
    std::string points;
    for (size_t i = 0; i < values.size(); ++i) {
        const size_t x = (room - values.size() + i) * kWidth / (room - 1);
        const size_t y = kHeight - static_cast<size_t>(values[i] * (kHeight - 1) / top);
        points += std::to_string(x) + "," + std::to_string(y) + " ";
    }
    return svg + "<polyline points=\"" + points + "\"/></svg>";
}
