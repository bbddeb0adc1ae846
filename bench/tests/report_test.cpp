#include "bench/harness/stats.h"
#include "bench/report/json.h"
#include "bench/report/markdown.h"
#include "bench/report/svg.h"
#include "bench/report/table.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <set>
#include <sstream>

using namespace bench;

namespace {

RunResult Good(Values values) { return {true, "", std::move(values)}; }

RunResult Bad(const char* why) { return {false, why, {}}; }

/// Every case of every row, with one number for all that is measured.
Measurements Everything(double figure) {
    Measurements all;
    for (const CCase& one : PlanCases(RowNames(), {})) {
        Values values;
        for (const CTarget& target : Targets()) values[target.value] = figure;
        all[one.id] = {one, {Good(values)}};
    }
    return all;
}

void Set(Measurements& all, const std::string& id, const char* value, double figure) {
    all.at(id).runs = {Good({{value, figure}})};
}

const CJudged& Find(const std::vector<CJudged>& judged, const std::string& of, const std::string& against,
                    const char* value) {
    return *std::find_if(judged.begin(), judged.end(), [&](const CJudged& one) {
        return one.target.of == of && one.target.against == against && one.target.value == value;
    });
}

TEST(BenchStats, MiddleTailAndSlope) {
    EXPECT_EQ(Median({}), 0);
    EXPECT_EQ(Median({3, 1, 2}), 2);
    EXPECT_EQ(Median({4, 1, 2, 3}), 2.5);
    std::vector<double> hundred;
    for (int i = 100; i > 0; --i) hundred.push_back(i);
    EXPECT_EQ(Percentile(hundred, 99), 99);
    EXPECT_EQ(Percentile(hundred, 100), 100);
    EXPECT_EQ(Percentile({7}, 99), 7);
    Values values;
    AddTail(values, "x_", {4, 1, 3, 2});
    EXPECT_EQ(values, (Values{{"x_p50_us", 2}, {"x_p90_us", 4}, {"x_p99_us", 4}, {"x_max_us", 4}}));
    EXPECT_NEAR(Exponent({{10, 1}, {100, 100}, {1000, 10000}}), 2, 1e-9);
    EXPECT_NEAR(Exponent({{10, 10}, {100, 1000}, {1000, 1000}}), 1, 1e-9) << "between what the points say";
    EXPECT_EQ(Exponent({{10, 5}}), 0) << "one point grows nowhere";
}

TEST(BenchTargets, BothSidesOfALimit) {
    const std::string lumo = CaseID("lumo", true), enet = CaseID("enet", true), video = CaseID("lumo-video", false),
                      alike = "lumo-wide, then lumo-wide, 4 queues", cubic = "tcp-cubic, then lumo-wide, 1 queue";
    const struct {
        const char* row;
        std::string of, against;
        const char* value;
        double figure, other;
        Verdict verdict;
    } rows[] = {
        {"bulk", lumo, enet, "MB/s", 450, 100, Verdict::Met},
        {"bulk", lumo, enet, "MB/s", 449, 100, Verdict::Missed},
        {"bulk", lumo, enet, "MB/s", 450, 0, Verdict::NotMeasured},
        {"bulk", lumo, enet, "cpu_s_per_GB", 0.9, 2, Verdict::Met},
        {"bulk", lumo, enet, "cpu_s_per_GB", 0.91, 2, Verdict::Missed},
        {"video", video, "", "frames/s", 29.7, 0, Verdict::Met},
        {"video", video, "", "frames/s", 29.6, 0, Verdict::Missed},
        {"video", video, "", "cpu_exponent", 1.11, 0, Verdict::Missed},
        {"sharing", alike, "", "shared_ratio", 0.8, 0, Verdict::Met},
        {"sharing", alike, "", "shared_ratio", 0.79, 0, Verdict::Missed},
        {"sharing", cubic, "", "shared_ratio", 0.3, 0, Verdict::Met},
    };
    for (const auto& row : rows) {
        Measurements all = Everything(1);
        Set(all, row.of, row.value, row.figure);
        if (!row.against.empty()) Set(all, row.against, row.value, row.other);
        EXPECT_EQ(Find(Judge({row.row}, all), row.of, row.against, row.value).verdict, row.verdict)
            << row.value << row.figure;
    }
}

TEST(BenchTargets, FailedRunsAreNeverHidden) {
    const std::string lumo = CaseID("lumo", true), enet = CaseID("enet", true);
    Measurements all = Everything(1);
    all.at(lumo).runs = {Bad("broke"), Good({{"MB/s", 500}}), Bad("broke")};
    all.at(enet).runs = {Good({{"MB/s", 100}})};
    EXPECT_EQ(Find(Judge({"bulk"}, all), lumo, enet, "MB/s").failedRuns, 2U);
    EXPECT_DOUBLE_EQ(Find(Judge({"bulk"}, all), lumo, enet, "MB/s").reached, 5);

    all.at(enet).runs = {Bad("gone"), Bad("gone")};
    const std::vector<CJudged> judged = Judge({"bulk"}, all);
    const std::vector<CCase> cases = PlanCases({"bulk"}, {});
    EXPECT_EQ(Find(judged, lumo, enet, "MB/s").verdict, Verdict::NotMeasured);
    std::ostringstream text;
    PrintMeasurements(text, cases, all);
    PrintTargets(text, judged);
    for (const std::string& said :
         {std::string("2 of 3 runs FAILED: broke"), enet + ": 2 of 2 runs FAILED: gone", std::string("NOT MEASURED")})
        EXPECT_NE(text.str().find(said), std::string::npos) << text.str();
    const std::string json = ToJson(cases, all, judged, {}).dump();
    EXPECT_NE(json.find("\"gone\""), std::string::npos) << json;
    EXPECT_NE(DrawBulk(all, "").find(">failed<"), std::string::npos);
}

TEST(BenchPicture, BarsAreAsLongAsTheFiguresAreLarge) {
    Measurements all = Everything(1);
    for (const bool oneCore : {true, false}) {
        Set(all, CaseID("lumo", oneCore), "MB/s", 800);
        Set(all, CaseID("enet", oneCore), "MB/s", 200);
    }
    const std::string svg = DrawBulk(all, "made on <this> & that"), bar = "<rect x=\"230.0\"";
    EXPECT_NE(svg.find("made on &lt;this> &amp; that"), std::string::npos);
    std::multiset<double> widths;
    for (size_t at = svg.find(bar); at != std::string::npos; at = svg.find(bar, at + 1))
        widths.insert(std::stod(svg.substr(svg.find("width=\"", at) + 7)));
    ASSERT_GE(widths.size(), 4U);
    EXPECT_EQ(widths.count(*widths.rbegin()), 2U);
    EXPECT_EQ(widths.count(*widths.rbegin() / 4), 2U);
}

TEST(BenchPicture, CurvesAndTablesHaveAPointForEachPath) {
    Measurements all = Everything(1);
    Set(all, PathCaseID("lumo-wide", "50 ms, 5 %"), "settled_MB/s", 12.5);
    Set(all, PathCaseID("lumo-wide", "20 ms, 1 %"), "settled_MB/s", 6.25);
    const std::string svg = DrawPaths(all, "");
    for (const char* points : {" 334.7,380.0 470.0,104.0 \"", "points=\"560.0,254.0 740.0,380.0 920.0,380.0 \""})
        EXPECT_NE(svg.find(points), std::string::npos) << svg;
    const std::string document = "a\n<!-- table path -->\nold\n<!-- end -->\nb\n";
    EXPECT_EQ(WithTable(document, "path", "new\n"), "a\n<!-- table path -->\n\nnew\n\n<!-- end -->\nb\n");
    EXPECT_EQ(WithTable(document, "sharing", "new\n"), document);
    EXPECT_NE(PathTable(all).find("\n| 20 ms, 1 % | 6.25 | 1.00 |"), std::string::npos) << PathTable(all);
}

TEST(BenchResults, RowsMeasuredLaterReplaceTheirOwnOnly) {
    const auto measured = [](const std::string& row, double figure) {
        const Measurements all = Everything(figure);
        return ToJson(PlanCases({row}, {}), all, Judge({row}, all), {{row, figure}});
    };
    const nlohmann::json both = Merge(measured("bulk", 1), measured("path", 1));
    EXPECT_EQ(both["cases"].size(), PlanCases({"bulk", "path"}, {}).size());
    EXPECT_EQ(both["targets"].size(), Judge({"bulk", "path"}, {}).size());
    const nlohmann::json later = Merge(both, measured("path", 2));
    EXPECT_EQ(later["cases"].size(), both["cases"].size());
    EXPECT_EQ(later["targets"].size(), both["targets"].size());
    EXPECT_EQ(later["machines"], (nlohmann::json{{"bulk", 1.0}, {"path", 2.0}}));
    EXPECT_EQ(later["targets"].front()["reached"], 1);
    EXPECT_EQ(later["targets"].back()["reached"], 2);
}

TEST(BenchPlan, ARowAsksForWhatItsTargetsCompareAndNoCaseTwice) {
    size_t targets = 0;
    for (const std::string& row : RowNames()) {
        std::set<std::string> planned;
        for (const CCase& one : PlanCases({row}, {})) EXPECT_TRUE(planned.insert(one.id).second) << one.id;
        const size_t before = targets;
        for (const CTarget& target : Targets()) {
            if (target.row != row) continue;
            ++targets;
            EXPECT_EQ(planned.count(target.of), 1U) << row << ": " << target.of;
            EXPECT_TRUE(target.against.empty() || planned.count(target.against) == 1U) << row << ": " << target.against;
        }
        EXPECT_EQ(Judge({row}, Everything(1)).size(), targets - before) << row;
        EXPECT_GT(targets, before) << row;
    }
    EXPECT_EQ(targets, Targets().size()) << "every target is part of a row";
}

}  // namespace
