#include "bench/harness/stats.h"
#include "bench/report/json.h"
#include "bench/report/svg.h"
#include "bench/report/table.h"

#include <gtest/gtest.h>

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

TEST(BenchStats, MiddleAndTail) {
    EXPECT_EQ(Median({}), 0);
    EXPECT_EQ(Median({3, 1, 2}), 2);
    EXPECT_EQ(Median({4, 1, 2, 3}), 2.5);
    std::vector<double> hundred;
    for (int i = 100; i > 0; --i) hundred.push_back(i);
    EXPECT_EQ(Percentile(hundred, 0), 1);
    EXPECT_EQ(Percentile(hundred, 50), 50);
    EXPECT_EQ(Percentile(hundred, 99), 99);
    EXPECT_EQ(Percentile(hundred, 100), 100);
    EXPECT_EQ(Percentile({7}, 99), 7);
    Values values;
    AddTail(values, "x_", {4, 1, 3, 2});
    EXPECT_EQ(values, (Values{{"x_p50_us", 2}, {"x_p90_us", 4}, {"x_p99_us", 4}, {"x_max_us", 4}}));
}

TEST(BenchStats, ExponentIsTheSlopeOfGrowth) {
    EXPECT_NEAR(Exponent({{10, 7}, {100, 70}, {1000, 700}}), 1, 1e-9);
    EXPECT_NEAR(Exponent({{10, 1}, {100, 100}, {1000, 10000}}), 2, 1e-9);
    EXPECT_NEAR(Exponent({{10, 5}, {100, 5}}), 0, 1e-9);
    EXPECT_NEAR(Exponent({{10, 10}, {100, 1000}, {1000, 1000}}), 1, 1e-9) << "between what the points say";
    EXPECT_EQ(Exponent({{10, 5}}), 0) << "one point grows nowhere";
    EXPECT_EQ(Exponent({}), 0);
}

TEST(BenchTargets, BothSidesOfALimit) {
    const std::string lumo = CaseID("lumo", true), enet = CaseID("enet", true), video = CaseID("lumo-video", false),
                      idle = CaseID("lumo-idle", false);
    const struct {
        const char* row;
        std::string of, against;
        const char* value;
        double figure, other;
        Verdict verdict;
    } rows[] = {
        {"bulk", lumo, enet, "MB/s", 450, 100, Verdict::Met},
        {"bulk", lumo, enet, "MB/s", 449, 100, Verdict::Missed},
        {"bulk", lumo, enet, "cpu_s_per_GB", 0.9, 2, Verdict::Met},
        {"bulk", lumo, enet, "cpu_s_per_GB", 0.91, 2, Verdict::Missed},
        {"bulk", lumo, enet, "MB/s", 450, 0, Verdict::NotMeasured},
        {"video", video, "", "cpu_exponent", 1.1, 0, Verdict::Met},
        {"video", video, "", "cpu_exponent", 1.11, 0, Verdict::Missed},
        {"video", video, "", "frames/s", 29.7, 0, Verdict::Met},
        {"video", video, "", "frames/s", 29.6, 0, Verdict::Missed},
        {"idle", idle, "", "grown_MiB", 16, 0, Verdict::Met},
        {"idle", idle, "", "grown_MiB", 16.1, 0, Verdict::Missed},
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
    const std::string lumo = CaseID("lumo", true);
    const std::string enet = CaseID("enet", true);
    Measurements all = Everything(1);
    all.at(lumo).runs = {Bad("broke"), Good({{"MB/s", 500}}), Bad("broke")};
    all.at(enet).runs = {Good({{"MB/s", 100}})};
    std::vector<CJudged> judged = Judge({"bulk"}, all);
    EXPECT_EQ(Find(judged, lumo, enet, "MB/s").failedRuns, 2U);
    EXPECT_DOUBLE_EQ(Find(judged, lumo, enet, "MB/s").reached, 5);

    all.at(enet).runs = {Bad("gone"), Bad("gone")};
    judged = Judge({"bulk"}, all);
    EXPECT_EQ(Find(judged, lumo, enet, "MB/s").verdict, Verdict::NotMeasured);

    std::ostringstream text;
    const std::vector<CCase> cases = PlanCases({"bulk"}, {});
    PrintMeasurements(text, cases, all);
    PrintTargets(text, judged);
    EXPECT_NE(text.str().find("2 of 3 runs FAILED: broke"), std::string::npos) << text.str();
    EXPECT_NE(text.str().find(enet + ": 2 of 2 runs FAILED: gone"), std::string::npos) << text.str();
    EXPECT_NE(text.str().find("NOT MEASURED"), std::string::npos);

    const nlohmann::json json = ToJson(cases, all, judged, {});
    const auto failed = std::find_if(json["cases"].begin(), json["cases"].end(),
                                     [&](const nlohmann::json& one) { return one["case"] == enet; });
    ASSERT_NE(failed, json["cases"].end());
    EXPECT_EQ((*failed)["runs"][0]["why"], "gone");
    EXPECT_NE(DrawBulk(all, "").find(">failed<"), std::string::npos);
}

TEST(BenchReport, EveryRowOfTheMediaIsPrinted) {
    const std::vector<std::string> rows{"audio", "video", "desktop"};
    const std::vector<CCase> cases = PlanCases(rows, {});
    Measurements all = Everything(1);
    all.at(CaseID("lumo-audio", true)).runs = {Good({{"datagrams/s", 512345}, {"delay_p99_us", 777}})};
    all.at(CaseID("lumo-video", false)).runs = {Good({{"cpu_exponent", 0.97}, {"KiB_per_sink", 12.3}})};
    all.at(CaseID("lumo-desktop", false)).runs = {Good({{"MB/s", 400}, {"frames/s", 1954}, {"delay_p50_us", 888}})};
    std::ostringstream text;
    PrintMeasurements(text, cases, all);
    for (const char* part : {"512", "0.97", "12.3", "1954", "888"})
        EXPECT_NE(text.str().find(part), std::string::npos) << part << '\n' << text.str();
    EXPECT_EQ(text.str().find("777"), std::string::npos) << "no tail without a middle";
}

TEST(BenchPicture, BarsAreAsLongAsTheFiguresAreLarge) {
    Measurements all = Everything(1);
    for (const char* driver : {"lumo", "enet"})
        for (const bool oneCore : {true, false})
            Set(all, CaseID(driver, oneCore), "MB/s", driver[0] == 'l' ? 800 : 200);
    const std::string svg = DrawBulk(all, "made on <this> & that");
    EXPECT_NE(svg.find("made on &lt;this> &amp; that"), std::string::npos);
    std::multiset<double> widths;
    for (size_t at = svg.find("<rect x=\"230.0\""); at != std::string::npos;
         at = svg.find("<rect x=\"230.0\"", at + 1)) {
        const size_t width = svg.find("width=\"", at) + 7;
        widths.insert(std::stod(svg.substr(width)));
    }
    ASSERT_GE(widths.size(), 4U);
    EXPECT_EQ(widths.count(*widths.rbegin()), 2U);
    EXPECT_NE(widths.find(*widths.rbegin() / 4), widths.end());
}

TEST(BenchPlan, PicturesAreFramesOfTheirSizeAndNumber) {
    RunSpec base;
    base.pictures = 77;
    for (const CCase& one : PlanCases({"desktop"}, base)) {
        EXPECT_EQ(one.spec.frames, 77U) << one.id;
        EXPECT_EQ(one.spec.frameLen, 200U * 1024) << one.id;
        EXPECT_TRUE(one.spec.delays) << one.id;
    }
    for (const CCase& one : PlanCases({"bulk"}, base)) EXPECT_EQ(one.spec.frames, base.frames) << one.id;
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
