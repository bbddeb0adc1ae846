#include "bench/report/svg.h"

#include "bench/report/drawing.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <vector>

namespace bench {

namespace {

constexpr double kLabelsEnd = 230;  // where bars begin
constexpr double kRateEnd = 640;    // where the longest rate bar ends
constexpr double kCostBegin = 730;
constexpr double kCostEnd = 890;
constexpr double kBarsTop = 104;
constexpr double kRowHeight = 48;

struct Row {
    const char* driver;
    const char* label;
    bool ours;
};
constexpr std::array<Row, 7> kRows = {{{"lumo", "lumomedia, UDP", true},
                                       {"lumo-relay", "lumomedia, UDP via relay", true},
                                       {"lumo-tcp", "lumomedia, TCP", true},
                                       {"enet", "ENet", false},
                                       {"srt", "SRT, file mode", false},
                                       {"usrsctp", "usrsctp", false},
                                       {"tcp", "plain framed TCP", false}}};

double Figure(const Measurements& all, const Row& row, bool oneCore, const char* value) {
    const auto found = all.find(CaseID(row.driver, oneCore));
    return found == all.end() ? 0 : found->second.Median(value);
}

/// A round number at or above the value: 1, 2 or 5 times a power of ten.
double RoundUp(double value) {
    if (value <= 0) return 1;
    const double power = std::pow(10, std::floor(std::log10(value)));
    for (const double step : {1.0, 2.0, 5.0})
        if (step * power >= value) return step * power;
    return 10 * power;
}

struct BarPanel {
    const char* value;
    const char* format;
    double begin;
    double end;
    double most;  // at the end
    double Length(double figure) const { return (end - begin) * figure / most; }
};

const char* Colour(bool ours, bool oneCore) {
    if (ours) return oneCore ? "#0f766e" : "#5eead4";
    return oneCore ? "#6b7280" : "#cbd5e1";
}

void DrawGrid(CDrawing& drawing, const BarPanel& panel, double bottom, int steps) {
    for (int i = 0; i <= steps; ++i) {
        const double figure = panel.most * i / steps;
        const double x = panel.begin + panel.Length(figure);
        drawing.Line(x, kBarsTop - 8, x, bottom, kGridColour);
        drawing.Text(x, bottom + 16, Format("%g", figure), "text-anchor=\"middle\" font-size=\"11\" fill=\"#6b7280\"");
    }
}

void DrawRow(CDrawing& drawing, const Measurements& all, const Row& row, double y,
             const std::array<BarPanel, 2>& panels) {
    drawing.Text(kLabelsEnd - 12, y + 20, row.label,
                 row.ours ? "text-anchor=\"end\" font-weight=\"bold\"" : "text-anchor=\"end\"");
    for (const BarPanel& panel : panels) {
        double top = y;
        for (const bool oneCore : {true, false}) {
            const double figure = Figure(all, row, oneCore, panel.value);
            if (figure > 0) drawing.Bar(panel.begin, top, panel.Length(figure), Colour(row.ours, oneCore));
            drawing.Text(panel.begin + panel.Length(figure) + 6, top + 12,
                         figure > 0 ? Format(panel.format, figure) : "failed", "font-size=\"12\" fill=\"#374151\"");
            top += kBarHeight + 3;
        }
    }
}

void DrawHead(CDrawing& drawing, const std::string& caption) {
    drawing.Text(24, 32, "2,000 frames of 64 KiB between two processes, in order and reliable",
                 "font-size=\"18\" font-weight=\"bold\"");
    drawing.Text(24, 54, caption, "font-size=\"12\" fill=\"#6b7280\"");
    drawing.Text(kLabelsEnd, 82, "MB/s, more is better", "font-weight=\"bold\"");
    drawing.Text(kCostBegin, 82, "CPU s per GB, less is better", "font-weight=\"bold\"");
}

}  // namespace

std::string DrawBulk(const Measurements& measurements, const std::string& caption) {
    std::vector<Row> rows;
    std::array<BarPanel, 2> panels = {
        {{"MB/s", "%.0f", kLabelsEnd, kRateEnd, 0}, {"cpu_s_per_GB", "%.1f", kCostBegin, kCostEnd, 0}}};
    for (const Row& row : kRows) {
        if (!measurements.count(CaseID(row.driver, true))) continue;
        rows.push_back(row);
        for (BarPanel& panel : panels)
            for (const bool oneCore : {true, false})
                panel.most = std::max(panel.most, Figure(measurements, row, oneCore, panel.value));
    }
    for (BarPanel& panel : panels) panel.most = RoundUp(panel.most);
    CDrawing drawing(kBarsTop + static_cast<double>(rows.size()) * kRowHeight + 56);
    DrawHead(drawing, caption);
    const double bottom = kBarsTop + static_cast<double>(rows.size()) * kRowHeight - 8;
    DrawGrid(drawing, panels[0], bottom, 5);
    DrawGrid(drawing, panels[1], bottom, 2);
    for (size_t i = 0; i < rows.size(); ++i)
        DrawRow(drawing, measurements, rows[i], kBarsTop + static_cast<double>(i) * kRowHeight, panels);
    drawing.Bar(24, bottom + 28, 26, Colour(true, true));
    drawing.Text(56, bottom + 40, "all processes on one core", "font-size=\"12\"");
    drawing.Bar(236, bottom + 28, 26, Colour(true, false));
    drawing.Text(268, bottom + 40, "free", "font-size=\"12\"");
    return drawing.Finish();
}

}  // namespace bench
