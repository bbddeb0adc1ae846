// What the pictures are drawn with.
#pragma once

#include <string>
#include <utility>
#include <vector>

namespace bench {

inline constexpr double kPictureWidth = 960;
inline constexpr double kBarHeight = 14;
inline constexpr char kGridColour[] = "stroke=\"#e3e6ea\"";

/// As printf does.
std::string Format(const char* format, double a, double b = 0, double c = 0, double d = 0);

/// An SVG picture; styles are attributes.
class CDrawing {
public:
    explicit CDrawing(double height);

    void Text(double x, double y, const std::string& text, const char* style);
    void Bar(double x, double y, double width, const char* colour);
    void Line(double x1, double y1, double x2, double y2, const std::string& style);
    void Curve(const std::vector<std::pair<double, double>>& points, const std::string& style);
    void Dot(double x, double y, const std::string& style);
    std::string Finish() { return m_text + "</svg>\n"; }

private:
    std::string m_text;
};

}  // namespace bench
