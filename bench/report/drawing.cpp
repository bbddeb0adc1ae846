#include "bench/report/drawing.h"

#include <algorithm>
#include <array>
#include <cstdio>

namespace bench {

namespace {

std::string Escaped(const std::string& text) {
    std::string escaped;
    for (const char c : text) escaped += c == '&' ? "&amp;" : c == '<' ? "&lt;" : std::string(1, c);
    return escaped;
}

}  // namespace

std::string Format(const char* format, double a, double b, double c, double d) {
    std::array<char, 256> text{};
    std::snprintf(text.data(), text.size(), format, a, b, c, d);
    return text.data();
}

CDrawing::CDrawing(double height) {
    m_text = Format(
        "<svg xmlns=\"http://www.w3.org/2000/svg\" viewBox=\"0 0 %.0f %.0f\" width=\"%.0f\" "
        "height=\"%.0f\" font-family=\"sans-serif\" font-size=\"14\">\n",
        kPictureWidth, height, kPictureWidth, height);
    m_text += "<rect width=\"100%\" height=\"100%\" fill=\"#ffffff\"/>\n";
}

void CDrawing::Text(double x, double y, const std::string& text, const char* style) {
    m_text += Format("<text x=\"%.1f\" y=\"%.1f\" ", x, y) + style + ">" + Escaped(text) + "</text>\n";
}

void CDrawing::Bar(double x, double y, double width, const char* colour) {
    m_text += Format("<rect x=\"%.1f\" y=\"%.1f\" width=\"%.1f\" height=\"%.1f\" rx=\"2\" ", x, y, std::max(width, 1.0),
                     kBarHeight) +
              "fill=\"" + colour + "\"/>\n";
}

void CDrawing::Line(double x1, double y1, double x2, double y2, const std::string& style) {
    m_text += Format("<line x1=\"%.1f\" y1=\"%.1f\" x2=\"%.1f\" y2=\"%.1f\" ", x1, y1, x2, y2) + style + "/>\n";
}

void CDrawing::Curve(const std::vector<std::pair<double, double>>& points, const std::string& style) {
    m_text += "<polyline points=\"";
    for (const auto& [x, y] : points) m_text += Format("%.1f,%.1f ", x, y);
    m_text += "\" fill=\"none\" " + style + "/>\n";
}

void CDrawing::Dot(double x, double y, const std::string& style) {
    m_text += Format("<circle cx=\"%.1f\" cy=\"%.1f\" r=\"3\" ", x, y) + style + "/>\n";
}

}  // namespace bench
