#include "bench/rows/targets.h"

#include "bench/rows/applications.h"

#include <algorithm>

namespace bench {

namespace {

void AddPathTargets(std::vector<CTarget>& all) {
    const auto path = [&](const char* value, const char* where, bool atLeast, double limit, const char* text) {
        all.push_back({"path", text, value, PathCaseID("lumo-wide", where), "", atLeast, limit});
    };
    for (const auto& [where, least] : {std::pair{"50 ms", 11.6},
                                       {"50 ms, 1 %", 11.4},
                                       {"50 ms, 5 %", 10.0},
                                       {"150 ms, 1 %", 11.4},
                                       {"20 Mbit/s, 300 ms, 1 %", 2.25},
                                       {"400 Mbit/s, 50 ms, 0.1 %", 45.0},
                                       {"50 ms, quarter of a queue", 11.2}})
        path("settled_MB/s", where, true, least, "goodput, MB/s");
    for (const char* other : {"quic-bbr2", "srt-live", "tcp-bbr"})
        all.push_back({"path", std::string("goodput against ") + other, "settled_MB/s",
                       PathCaseID("lumo-wide", "50 ms, 5 %"), PathCaseID(other, "50 ms, 5 %"), true, 0.95});
    path("dropped_percent", "50 ms, quarter of a queue", false, 2, "percent that the queue drops");
    path("queue_p50_ms", "50 ms, 4 queues", false, 15, "ms in the queue");
}

std::vector<CTarget> MakeTargets() {
    std::vector<CTarget> all;
    const auto ratio = [&](const char* row, bool oneCore, const char* value, const char* of, const char* against,
                           bool atLeast, double limit, const char* text) {
        all.push_back({row, text, value, CaseID(of, oneCore), CaseID(against, oneCore), atLeast, limit});
    };
    ratio("bulk", true, "MB/s", "lumo", "enet", true, 4.5, "rate against ENet");
    ratio("bulk", true, "MB/s", "lumo", "srt", true, 3, "rate against SRT");
    ratio("bulk", true, "cpu_s_per_GB", "lumo", "enet", false, 0.45, "processor time per GB against ENet");
    ratio("bulk", true, "MB/s", "lumo-wide", "lumo", true, 1, "rate of a wide session against a given one");
    ratio("bulk", true, "cpu_s_per_GB", "lumo-wide", "lumo", false, 1.1, "processor time per GB of a wide session");
    ratio("bulk", false, "MB/s", "lumo", "enet", true, 3, "rate against ENet");
    ratio("bulk", true, "MB/s", "lumo-sealed", "lumo", true, 0.6, "rate of sealed frames against plain ones");
    ratio("bulk", false, "MB/s", "lumo-sealed", "lumo", true, 0.75, "rate of sealed frames against plain ones");
    for (const bool oneCore : {true, false}) {
        ratio("relay", oneCore, "MB/s", "lumo-relay", "lumo", true, 0.4, "rate through the relay against direct");
        ratio("round-trip", oneCore, "p50_us", "lumo-ping", "enet-ping", false, 1, "median against ENet");
        ratio("round-trip", oneCore, "p99_us", "lumo-ping", "enet-ping", false, 1.3, "99th percentile against ENet");
        ratio("tcp", oneCore, "MB/s", "lumo-tcp", "tcp", true, 0.6, "TCP sinks against plain framed TCP");
        for (const char* audio : {"lumo-audio", "lumo-audio-relay"}) {
            ratio("audio", oneCore, "datagrams/s", audio, "audio-sendto", true, 1.8,
                  "datagrams a second against sendto");
            ratio("audio", oneCore, "datagrams/s", audio, "audio-sendmmsg", true, 0.9,
                  "datagrams a second against sendmmsg");
        }
        ratio("audio", oneCore, "datagrams/s", "lumo-audio-sealed", "lumo-audio", true, 0.95,
              "datagrams a second sealed against plain");
        ratio("desktop", oneCore, "MB/s", "lumo-desktop-tcp", "tcp-pictures", true, 0.6,
              "pictures over TCP against plain framed TCP");
        all.push_back({"log", "rate with the log on against off", "MB/s", CaseID("lumo", oneCore, true),
                       CaseID("lumo", oneCore), true, 0.1});
    }
    const std::string idle = CaseID("lumo-idle", false);
    all.push_back({"idle", "percent of a core", "core_percent", idle, "", false, 0.5});
    all.push_back({"idle", "MiB more resident", "grown_MiB", idle, "", false, 16});
    const std::string video = CaseID("lumo-video", false);
    all.push_back({"video", "frames a second carried to each sink", "frames/s", video, "", true, 29.7});
    all.push_back({"video", "exponent of processor time over sinks", "cpu_exponent", video, "", false, 1.1});
    ratio("video", false, "cpu_us_per_frame", "lumo-video-wide", "lumo-video", false, 1.1,
          "processor time with wide sessions against given ones");
    AddPathTargets(all);
    for (const Sharing& sharing : Sharings()) {
        const bool alike = std::string(sharing.driver) == sharing.beside;
        const std::string text = std::string("share against ") + sharing.beside + "'s";
        for (const auto& [atLeast, limit] : {std::pair{true, alike ? 0.8 : 0.3}, {false, alike ? 1.25 : 3.0}})
            all.push_back({"sharing", text, "shared_ratio", SharingCaseID(sharing), "", atLeast, limit});
    }
    for (const CTarget& target : ApplicationTargets()) all.push_back(target);
    std::stable_sort(all.begin(), all.end(), [](const CTarget& a, const CTarget& b) {
        const auto place = [](const CTarget& target) {
            return std::find(RowNames().begin(), RowNames().end(), target.row) - RowNames().begin();
        };
        return place(a) < place(b);
    });
    return all;
}

CJudged JudgeOne(const CTarget& target, const Measurements& measurements) {
    CJudged judged;
    judged.target = target;
    std::vector<double> figures;
    for (const std::string& id : {target.of, target.against}) {
        if (id.empty()) continue;
        const auto found = measurements.find(id);
        if (found == measurements.end()) return judged;
        judged.failedRuns += found->second.Failed();
        if (!found->second.Has(target.value)) return judged;
        figures.push_back(found->second.Median(target.value));
    }
    if (figures.size() == 2 && figures[1] <= 0) return judged;
    judged.reached = figures.size() == 2 ? figures[0] / figures[1] : figures[0];
    const bool met = target.atLeast ? judged.reached >= target.limit : judged.reached <= target.limit;
    judged.verdict = met ? Verdict::Met : Verdict::Missed;
    return judged;
}

}  // namespace

const std::vector<CTarget>& Targets() {
    static const std::vector<CTarget> targets = MakeTargets();
    return targets;
}

std::vector<CJudged> Judge(const std::vector<std::string>& rows, const Measurements& measurements) {
    std::vector<CJudged> all;
    for (const CTarget& target : Targets())
        if (std::find(rows.begin(), rows.end(), target.row) != rows.end())
            all.push_back(JudgeOne(target, measurements));
    return all;
}

}  // namespace bench
