#include "bench/report/store.h"

#include "bench/report/json.h"
#include "bench/report/markdown.h"
#include "bench/report/svg.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <fstream>
#include <iostream>
#include <iterator>

using nlohmann::json;

namespace bench {

namespace {

std::string Read(const std::filesystem::path& path) {
    std::ifstream file(path);
    return {std::istreambuf_iterator<char>(file), {}};
}

void Write(const std::filesystem::path& path, const std::string& text) {
    std::ofstream(path) << text;
    std::cout << "written: " << path.filename().string() << '\n';
}

void WriteTable(const std::filesystem::path& path, const std::string& row, const std::string& table) {
    const std::string document = Read(path), filled = WithTable(document, row, table);
    if (filled != document) Write(path, filled);
}

std::string Caption(const Results& results, const char* where) {
    const json& machine = results.machine;
    return machine["processor"].get<std::string>() + ", " + std::to_string(machine["cores"].get<long>()) + " cores, " +
           machine["kernel"].get<std::string>() + "; " + where + ", median of " + std::to_string(results.rounds) +
           " runs";
}

}  // namespace

void Store(const std::filesystem::path& folder, const Results& results) {
    std::filesystem::create_directories(folder);
    json machines = json::object();
    for (const std::string& row : results.rows) machines[row] = results.machine;
    json all = ToJson(results.cases, results.measurements, results.judged, machines);
    const json earlier = json::parse(Read(folder / "results.json"), nullptr, false);
    if (earlier.is_object()) all = Merge(earlier, all);
    Write(folder / "results.json", all.dump(1) + "\n");

    const auto has = [&](const char* row) { return std::count(results.rows.begin(), results.rows.end(), row) > 0; };
    if (has("bulk")) Write(folder / "bulk.svg", DrawBulk(results.measurements, Caption(results, "loopback")));
    if (has("path")) {
        Write(folder / "path.svg", DrawPaths(results.measurements, Caption(results, "emulated paths")));
        WriteTable(folder / "README.md", "path",
                   "![MB/s by loss and by round trip](path.svg)\n\n" + PathTable(results.measurements));
    }
    if (has("sharing")) WriteTable(folder / "README.md", "sharing", SharingTable(results.measurements));
}

}  // namespace bench
