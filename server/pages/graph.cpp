#include "server/pages/graph.h"

#include <algorithm>

namespace {

constexpr size_t kWidth = 720;  // in the graph's own units
constexpr size_t kHeight = 100;

std::string Polyline(const CGraphLine& line, size_t room, uint64_t top) {
    const size_t count = line.values.size();
    if (count == 0 || room < 2 || count > room) return "";
    std::string points;
    for (size_t i = 0; i < count; ++i) {
        const size_t x = (room - count + i) * kWidth / (room - 1);
        const double part = static_cast<double>(line.values[i]) / static_cast<double>(top);
        points += std::to_string(x) + "," + std::to_string(kHeight - static_cast<size_t>(part * kHeight)) + " ";
    }
    return "<polyline class=\"" + EscapeHtml(line.color) + "\" points=\"" + points + "\"/>";
}

std::string Caption(const CGraph& graph) {
    std::string html = "<figcaption><b>" + EscapeHtml(graph.title) + "</b>";
    for (const CGraphLine& line : graph.lines) {
        const std::string name = *line.name == 0 ? "" : std::string(line.name) + " ";
        const std::string last = line.values.empty() ? "–" : graph.text(line.values.back());
        html += " <span class=\"key " + EscapeHtml(line.color) + "\">" + EscapeHtml(name + last) + "</span>";
    }
    return html + "</figcaption>";
}

std::string Span(const std::string& text) { return "<span>" + EscapeHtml(text) + "</span>"; }

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

uint64_t AxisEnd(uint64_t value) {
    for (uint64_t power = 1; power < UINT64_MAX / 100; power *= 10)
        for (const uint64_t times : {1U, 2U, 5U})
            if (times * power >= value) return times * power;
    return value;
}

std::string GraphHtml(const CGraph& graph) {
    uint64_t highest = std::max<uint64_t>(graph.least, 1);
    for (const CGraphLine& line : graph.lines)
        for (const uint64_t value : line.values) highest = std::max(highest, value);
    const uint64_t top = AxisEnd(highest);
    const std::string end = std::to_string(kWidth), middle = std::to_string(kHeight / 2);
    std::string html = "<figure class=\"graph\">" + Caption(graph) + "<div class=\"plot\"><div class=\"y\">" +
                       Span(graph.text(top)) + Span(graph.text(0)) + "</div><svg viewBox=\"0 0 " + end + " " +
                       std::to_string(kHeight) + "\" preserveAspectRatio=\"none\" role=\"img\" aria-label=\"" +
                       EscapeHtml(graph.title) + "\"><path class=\"grid\" d=\"M0 " + middle + "H" + end + "\"/>";
    for (const CGraphLine& line : graph.lines) html += Polyline(line, graph.room, top);
    return html + "</svg><div class=\"x\">" + Span(std::string(graph.span) + " ago") + Span("now") +
           "</div></div></figure>";
}
