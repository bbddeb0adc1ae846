// What operators are given stays true: the dashboard and the document name what /metrics has.
#include "server/pages/metrics.h"
#include "server/refusals.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>
#include <nlohmann/json.hpp>
#include <regex>
#include <set>
#include <sstream>

namespace {

const std::string kFolder = LUMO_SOURCE_DIR "/docs/";

std::string Read(const std::string& path) {
    std::ifstream file(kFolder + path);
    std::stringstream text;
    text << file.rdbuf();
    return text.str();
}

std::vector<std::smatch> Matches(const std::string& text, const char* pattern) {
    const std::regex regex(pattern);
    return {std::sregex_iterator(text.begin(), text.end(), regex), std::sregex_iterator()};
}

/// Every name of a metric, and each with every label that it has: "name", "name{label=value}", "name{label}".
std::set<std::string> Served() {
    CServerNumbers numbers;
    for (const char* medium : {"audio", "video", "file", "desktop", "whiteboard"})
        numbers.media.push_back({.medium = medium});
    numbers.budgets = {{.budget = "send"}, {.budget = "receive"}};
    numbers.refusals = CRefusals().Status();
    const std::string text = CMetrics().Text(numbers, {});
    std::set<std::string> served;
    for (const std::smatch& line : Matches(text, "(?:^|\n)([a-z_]+)(?:\\{(.*)\\})? ")) {
        served.insert(line[1]);
        const std::string labels = line[2];
        for (const std::smatch& label : Matches(labels, "([a-z]+)=\"([a-z_]+)\"")) {
            served.insert(line[1].str() + "{" + label[1].str() + "}");
            served.insert(line[1].str() + "{" + label[1].str() + "=" + label[2].str() + "}");
        }
    }
    return served;
}

void CheckQuery(const std::string& query, const std::set<std::string>& served, std::set<std::string>& used) {
    std::set<std::string> names;
    for (const std::smatch& metric : Matches(query, "\\b((?:lumo|process)_[a-z_]+)(?:\\{([^}]*)\\})?")) {
        const std::string name = metric[1], labels = metric[2];
        names.insert(name);
        EXPECT_TRUE(served.count(name)) << name << " in " << query;
        for (const std::smatch& label : Matches(labels, "([a-z]+)!?=~?\"([^\"]*)\""))
            EXPECT_TRUE(label[1] == "instance" ||
                        served.count(name + "{" + label[1].str() + "=" + label[2].str() + "}"))
                << label[0] << " in " << query;
    }
    ASSERT_FALSE(names.empty()) << query;
    for (const std::smatch& by : Matches(query, "by \\(([^)]*)\\)"))
        for (const std::string list = by[1]; const std::smatch& label : Matches(list, "[a-z]+"))
            for (const std::string& name : names)
                EXPECT_TRUE(label[0] == "instance" || served.count(name + "{" + label[0].str() + "}"))
                    << label[0] << " in " << query;
    used.merge(names);
}

TEST(Operating, TheDashboardAsksForWhatIsThere) {
    const auto dashboard = nlohmann::json::parse(Read("operating/grafana.json"));
    const std::set<std::string> served = Served();
    std::set<std::string> used, titles;
    for (const auto& panel : dashboard["panels"]) {
        EXPECT_TRUE(titles.insert(panel["type"].get<std::string>() + panel["title"].get<std::string>()).second);
        for (const auto& target : panel["targets"]) CheckQuery(target["expr"], served, used);
    }
    EXPECT_GE(titles.size(), 20U);
    EXPECT_GE(used.size(), 20U);
}

TEST(Operating, TheDocumentSaysWhatEachMetricAndRefusalMeansAndNamesNoOther) {
    const std::string text = Read("operating.md");
    const std::set<std::string> served = Served();
    for (const std::string& name : served) {
        if (name.find('{') != std::string::npos) continue;
        EXPECT_THAT(text, testing::HasSubstr("| `" + name + "` |")) << "no row of its own";
    }
    for (const CRefusalStatus& refusal : CRefusals().Status())
        EXPECT_THAT(text, testing::HasSubstr("| `" + std::string(refusal.reason) + "` |")) << "no row of its own";
    std::set<std::string> used;
    for (const std::smatch& code : Matches(text, "`([^`\n]*\\b(?:lumo|process)_[a-z_]+[^`\n]*)`"))
        CheckQuery(code[1], served, used);
}

}  // namespace
