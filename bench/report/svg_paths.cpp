#include "bench/report/drawing.h"
#include "bench/report/svg.h"

#include <algorithm>

namespace bench {

namespace {

constexpr double kTop = 104, kBottom = 404;
constexpr double kMost = 12.5;  // MB/s: what the link carries
constexpr int kSteps = 5;
constexpr double kLegendRow = 22, kLegendColumn = 180;
constexpr int kLegendColumns = 5;

struct Drawn {
    const char *driver, *label, *colour;
    bool ours;
};
constexpr Drawn kDrawn[] = {{"lumo-wide", "lumomedia, wide", "#0f766e", true},
                            {"lumo-tcp", "lumomedia, TCP", "#14b8a6", true},
                            {"lumo", "lumomedia, given", "#5eead4", true},
                            {"tcp-bbr", "TCP bbr", "#1d4ed8", false},
                            {"tcp-cubic", "TCP cubic", "#93c5fd", false},
                            {"quic-bbr2", "QUIC bbr2", "#9333ea", false},
                            {"srt-live", "SRT live, told the rate", "#ea580c", false},
                            {"srt", "SRT, file mode", "#fdba74", false},
                            {"usrsctp", "usrsctp", "#6b7280", false},
                            {"enet", "ENet", "#a16207", false}};

struct Point {
    const char *path, *label;
};

struct Panel {
    const char* title;
    std::vector<Point> points;
    double begin, end;

    double X(size_t point) const {
        return begin + (end - begin) * static_cast<double>(point) / static_cast<double>(points.size() - 1);
    }
};

double Y(double figure) { return kBottom - (kBottom - kTop) * std::min(figure, kMost) / kMost; }

std::string Stroke(const Drawn& drawn) {
    return std::string("stroke=\"") + drawn.colour + "\" stroke-width=\"" + (drawn.ours ? "3" : "1.5") + "\"";
}

void DrawAxes(CDrawing& drawing, const Panel& panel) {
    drawing.Text(panel.begin, 82, panel.title, "font-weight=\"bold\"");
    for (int i = 0; i <= kSteps; ++i) {
        const double figure = kMost * i / kSteps;
        drawing.Line(panel.begin, Y(figure), panel.end, Y(figure), kGridColour);
        drawing.Text(panel.begin - 8, Y(figure) + 4, Format("%g", figure),
                     "text-anchor=\"end\" font-size=\"11\" fill=\"#6b7280\"");
    }
    for (size_t i = 0; i < panel.points.size(); ++i)
        drawing.Text(panel.X(i), kBottom + 18, panel.points[i].label,
                     "text-anchor=\"middle\" font-size=\"12\" fill=\"#374151\"");
}

void DrawCurve(CDrawing& drawing, const Measurements& all, const Panel& panel, const Drawn& drawn) {
    std::vector<std::pair<double, double>> curve;
    for (size_t i = 0; i < panel.points.size(); ++i) {
        const auto found = all.find(PathCaseID(drawn.driver, panel.points[i].path));
        if (found == all.end() || !found->second.Has("settled_MB/s")) continue;
        curve.emplace_back(panel.X(i), Y(found->second.Median("settled_MB/s")));
    }
    drawing.Curve(curve, Stroke(drawn));
    for (const auto& [x, y] : curve) drawing.Dot(x, y, std::string("fill=\"") + drawn.colour + "\"");
}

void DrawLegend(CDrawing& drawing) {
    int place = 0;
    for (const Drawn& drawn : kDrawn) {
        const double x = 48 + kLegendColumn * (place % kLegendColumns);
        const double y = kBottom + 52 + kLegendRow * (place / kLegendColumns);
        drawing.Line(x, y, x + 24, y, Stroke(drawn));
        drawing.Text(x + 30, y + 4, drawn.label,
                     drawn.ours ? "font-size=\"12\" font-weight=\"bold\"" : "font-size=\"12\"");
        ++place;
    }
}

}  // namespace

std::string DrawPaths(const Measurements& measurements, const std::string& caption) {
    const Panel panels[] = {
        {"by loss, round trip 50 ms",
         {{"50 ms", "none"}, {"50 ms, 0.1 %", "0.1 %"}, {"50 ms, 1 %", "1 %"}, {"50 ms, 5 %", "5 %"}},
         64,
         470},
        {"by round trip, 1 % lost",
         {{"20 ms, 1 %", "20 ms"}, {"50 ms, 1 %", "50 ms"}, {"150 ms, 1 %", "150 ms"}},
         560,
         920}};
    CDrawing drawing(kBottom + 100);
    drawing.Text(24, 32, "MB/s of whole frames of 64 KiB over a path of 100 Mbit/s",
                 "font-size=\"18\" font-weight=\"bold\"");
    drawing.Text(24, 54, caption, "font-size=\"12\" fill=\"#6b7280\"");
    for (const Panel& panel : panels) {
        DrawAxes(drawing, panel);
        for (size_t i = std::size(kDrawn); i-- > 0;) DrawCurve(drawing, measurements, panel, kDrawn[i]);  // ours on top
    }
    DrawLegend(drawing);
    return drawing.Finish();
}

}  // namespace bench
