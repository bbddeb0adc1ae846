#include "bench/report/table.h"

#include <algorithm>
#include <array>
#include <cstdio>

namespace bench {

namespace {

std::string Number(double value, int digits) {
    std::array<char, 32> text{};
    std::snprintf(text.data(), text.size(), "%.*f", digits, value);
    return text.data();
}

std::string Padded(std::string text, size_t width, bool right) {
    if (text.size() < width) text.insert(right ? 0 : text.size(), width - text.size(), ' ');
    return text;
}

using Line = std::vector<std::string>;

/// The first column leans left, the others right.
void PrintLines(std::ostream& out, const std::vector<Line>& lines) {
    std::vector<size_t> widths;
    for (const Line& line : lines) {
        widths.resize(std::max(widths.size(), line.size()));
        for (size_t i = 0; i < line.size(); ++i) widths[i] = std::max(widths[i], line[i].size());
    }
    for (const Line& line : lines) {
        for (size_t i = 0; i < line.size(); ++i) out << (i ? "  " : "") << Padded(line[i], widths[i], i > 0);
        out << '\n';
    }
    out << '\n';
}

std::string Note(const CMeasured& measured) {
    std::string note;
    if (measured.Has("lost_percent")) note = Number(measured.Median("lost_percent"), 1) + " % lost";
    if (measured.Failed() == 0) return note;
    const auto failed = std::find_if(measured.runs.begin(), measured.runs.end(), [](const auto& r) { return !r.ok; });
    return note + (note.empty() ? "" : "; ") + std::to_string(measured.Failed()) + " of " +
           std::to_string(measured.runs.size()) + " runs FAILED: " + failed->why;
}

void PrintWith(std::ostream& out, const std::vector<CCase>& cases, const Measurements& all, const char* key,
               const Line& head, Line (*columns)(const CMeasured&)) {
    std::vector<Line> lines{head};
    for (const CCase& one : cases) {
        const auto found = all.find(one.id);
        if (found == all.end() || !found->second.Has(key)) continue;
        lines.push_back(columns(found->second));
        lines.back().insert(lines.back().begin(), one.id);
        lines.back().push_back(Note(found->second));
    }
    if (lines.size() > 1) PrintLines(out, lines);
}

Line BulkColumns(const CMeasured& m) {
    return {Number(m.Median("MB/s"), 0), Number(m.Least("MB/s"), 0) + "-" + Number(m.Most("MB/s"), 0),
            Number(m.Median("cpu_s_per_GB"), 2), m.Has("frames/s") ? Number(m.Median("frames/s"), 0) : ""};
}

Line PathColumns(const CMeasured& m) {
    return {Number(m.Median("path_MB/s"), 2),
            Number(m.Median("settled_MB/s"), 2),
            Number(m.Least("settled_MB/s"), 2) + "-" + Number(m.Most("settled_MB/s"), 2),
            Number(m.Median("cpu_s_per_GB"), 2),
            Number(m.Median("dropped_percent"), 2),
            Number(m.Median("queue_p50_ms"), 1)};
}

Line SharingColumns(const CMeasured& m) {
    return {Number(m.Median("shared_MB/s"), 2), Number(m.Median("beside_MB/s"), 2), Number(m.Median("shared_ratio"), 2),
            Number(m.Least("shared_ratio"), 2) + "-" + Number(m.Most("shared_ratio"), 2),
            Number(m.Median("queue_p50_ms"), 1)};
}

Line RoundTripColumns(const CMeasured& m) {
    return {Number(m.Median("p50_us"), 1), Number(m.Median("p90_us"), 1), Number(m.Median("p99_us"), 1),
            Number(m.Median("max_us"), 0)};
}

Line IdleColumns(const CMeasured& m) {
    return {Number(m.Median("sinks"), 0), Number(m.Median("core_percent"), 3), Number(m.Median("grown_MiB"), 2)};
}

Line FanOutColumns(const CMeasured& m) {
    return {Number(m.Median("sinks"), 0), Number(m.Median("datagrams/s") / 1000, 0),
            Number(m.Least("datagrams/s") / 1000, 0) + "-" + Number(m.Most("datagrams/s") / 1000, 0),
            Number(m.Median("cpu_us_per_datagram"), 2)};
}

Line VideoColumns(const CMeasured& m) {
    return {Number(m.Median("sinks"), 0), Number(m.Median("frames/s"), 1), Number(m.Median("cpu_us_per_frame"), 0),
            Number(m.Median("cpu_exponent"), 2), Number(m.Median("KiB_per_sink"), 1)};
}

Line DelayColumns(const CMeasured& m) {
    return {Number(m.Median("delay_p50_us"), 0), Number(m.Median("delay_p90_us"), 0),
            Number(m.Median("delay_p99_us"), 0), Number(m.Median("delay_max_us"), 0)};
}

}  // namespace

void PrintMeasurements(std::ostream& out, const std::vector<CCase>& cases, const Measurements& measurements) {
    PrintWith(out, cases, measurements, "MB/s", {"bulk", "MB/s", "spread", "CPU s/GB", "frames/s", ""}, BulkColumns);
    PrintWith(out, cases, measurements, "path_MB/s",
              {"path", "MB/s", "settled", "spread", "CPU s/GB", "% dropped", "queue p50 ms", ""}, PathColumns);
    PrintWith(out, cases, measurements, "shared_ratio",
              {"sharing", "MB/s", "the other's", "ratio", "spread", "queue p50 ms", ""}, SharingColumns);
    PrintWith(out, cases, measurements, "p50_us", {"round trip", "p50 us", "p90 us", "p99 us", "max us", ""},
              RoundTripColumns);
    PrintWith(out, cases, measurements, "core_percent", {"idle", "sinks", "% of a core", "MiB more", ""}, IdleColumns);
    PrintWith(out, cases, measurements, "datagrams/s", {"audio", "sinks", "1000/s", "spread", "CPU us each", ""},
              FanOutColumns);
    PrintWith(out, cases, measurements, "cpu_exponent",
              {"video", "sinks", "frames/s", "CPU us/frame", "exponent", "KiB/sink", ""}, VideoColumns);
    PrintWith(out, cases, measurements, "delay_p50_us", {"delay", "p50 us", "p90 us", "p99 us", "max us", ""},
              DelayColumns);
    for (const CCase& one : cases) {
        const auto found = measurements.find(one.id);
        if (found != measurements.end() && !found->second.Any()) out << one.id << ": " << Note(found->second) << '\n';
    }
}

const char* VerdictName(Verdict verdict) {
    switch (verdict) {
        case Verdict::Met:
            return "met";
        case Verdict::Missed:
            return "MISSED";
        case Verdict::NotMeasured:
            break;
    }
    return "NOT MEASURED";
}

void PrintTargets(std::ostream& out, const std::vector<CJudged>& judged) {
    std::vector<Line> lines{{"target", "wanted", "reached", ""}};
    for (const CJudged& one : judged) {
        const CTarget& target = one.target;
        const std::string reached = one.verdict == Verdict::NotMeasured ? "-" : Number(one.reached, 3);
        std::string verdict = VerdictName(one.verdict);
        if (one.failedRuns > 0) verdict += " (" + std::to_string(one.failedRuns) + " failed runs)";
        lines.push_back({target.of + ": " + target.text, (target.atLeast ? ">= " : "<= ") + Number(target.limit, 2),
                         reached, verdict});
    }
    PrintLines(out, lines);
}

}  // namespace bench
