#include "bench/report/markdown.h"

#include "bench/report/drawing.h"

namespace bench {

namespace {

std::string Cell(const Measurements& all, const std::string& id, const char* value, const char* format) {
    const auto found = all.find(id);
    if (found == all.end()) return " |";
    return " " + (found->second.Has(value) ? Format(format, found->second.Median(value)) : "failed") + " |";
}

}  // namespace

std::string PathTable(const Measurements& measurements) {
    std::string text = "| path |", rule = "|---|";
    for (const char* driver : PathDrivers()) {
        text += std::string(" ") + driver + " |";
        rule += "---|";
    }
    text += " wide: with the start | wide: dropped, % | wide: queue, ms |\n" + rule + "---|---|---|\n";
    for (const auto& [name, path] : Paths()) {
        text += "| " + name + " |";
        for (const char* driver : PathDrivers())
            text += Cell(measurements, PathCaseID(driver, name), "settled_MB/s", "%.2f");
        const std::string wide = PathCaseID("lumo-wide", name);
        text += Cell(measurements, wide, "path_MB/s", "%.2f") + Cell(measurements, wide, "dropped_percent", "%.2f") +
                Cell(measurements, wide, "queue_p50_ms", "%.1f");
        text += "\n";
    }
    return text;
}

std::string SharingTable(const Measurements& measurements) {
    std::string text =
        "| who comes when, queue in products | lumo-wide, MB/s | the other, MB/s | ratio | queue, ms |\n";
    text += "|---|---|---|---|---|\n";
    for (const Sharing& sharing : Sharings()) {
        const std::string id = SharingCaseID(sharing);
        text += "| " + id + " |";
        for (const char* value : {"shared_MB/s", "beside_MB/s", "shared_ratio"})
            text += Cell(measurements, id, value, "%.2f");
        text += Cell(measurements, id, "queue_p50_ms", "%.1f") + "\n";
    }
    return text;
}

std::string WithTable(const std::string& document, const std::string& name, const std::string& text) {
    const std::string mark = "<!-- table " + name + " -->\n", end = "<!-- end -->";
    const size_t at = document.find(mark);
    const size_t after = at == std::string::npos ? at : document.find(end, at);
    if (after == std::string::npos) return document;
    return document.substr(0, at + mark.size()) + "\n" + text + "\n" + document.substr(after);
}

}  // namespace bench
