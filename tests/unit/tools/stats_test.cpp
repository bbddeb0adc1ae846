// Live links as a table, from whatever a server or a file says.
#include "support/scratch.h"
#include "tools/lumo/stats/stats_source.h"
#include "tools/lumo/stats/stats_table.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

using namespace lumo;

namespace {

constexpr size_t kWide = 200, kMany = 50;

const char* const kServer = R"({"uptime_seconds": 62, "listen": "0.0.0.0:7000", "stream_count": 2, "streams": [
    {"medium": "video", "channel": 5, "relayed_from": null, "bytes_per_second": 2500000, "loss_permille": 12,
     "publisher": {"address": "10.0.0.1:4000", "transport": "tcp", "flow_control": "bbr", "queued_frames": 0},
     "listener_count": 3, "traffic": {"bytes_out": 1000000}, "listeners": [
        {"address": "10.0.0.2:4001", "transport": "udp", "flow_control": "wide", "queued_frames": 7,
         "queued_bytes": 1234567, "round_trip_ms": 12, "packets": 1000, "retransmitted": 25}]},
    {"medium": "audio", "channel": 6, "relayed_from": "10.0.0.9:7000", "publisher": null, "listener_count": 0}]})";

TEST(StatsTable, Server) {
    CStatsTable table;
    nlohmann::json stats = nlohmann::json::parse(kServer);
    const std::string first =
        "server 0.0.0.0:7000, up 1:02, 2 streams, 3 listeners\n"
        "                                               ROUND  SENT\n"
        "LINK                  VIA       IN/s    OUT/s  TRIP   AGAIN  WAITING\n"
        "video 5                         2.5 MB  -             1.2 %\n"
        "  from 10.0.0.1:4000  tcp bbr                  -      -      0\n"
        "  to 10.0.0.2:4001    udp wide                 12 ms  2.5 %  7, 1.2 MB\n"
        "  and 2 more\n"
        "audio 6                         -       -             0.0 %\n"
        "  relayed from 10.0.0.9:7000\n";
    EXPECT_EQ(table.Text(stats, 1000, kWide, kMany), first);
    stats["streams"][0]["traffic"]["bytes_out"] = 3000000U;
    const std::string again = table.Text(stats, 1500, 35, 4);
    EXPECT_EQ(again, first.substr(0, first.find('\n') + 1) +
                         "\nLINK                 VIA      IN/s\nvideo 5                       2.5 M\n");
    stats["streams"][0]["traffic"]["bytes_out"] = 5000000U;
    EXPECT_NE(table.Text(stats, 2500, kWide, kMany).find(" 2.5 MB  2.0 MB "), std::string::npos);
}

TEST(StatsTable, WhateverTheFiguresAre) {
    const std::pair<const char*, const char*> rows[] = {
        {R"({"command": "send", "process": 9, "totals": {"bytes_per_second_out": 1500}, "links": [{"medium": "file",
             "transport": "udp", "address": null, "flow_control": "given", "bytes_per_second_in": 10,
             "bytes_per_second_out": 2000, "packets": 2, "retransmitted": 9, "queued_frames": 1}]})",
         "lumo send, process 9, 1.5 kB/s sent and 0 B/s received over UDP\n"
         "                                          ROUND  SENT\n"
         "LINK             VIA        IN/s  OUT/s   TRIP   AGAIN    WAITING\n"
         "file nobody yet  udp given  10 B  2.0 kB  -      100.0 %  1\n"},
        {R"({"command": "send", "process": 9, "totals": {}, "links": [{"medium": "desktop", "transport": "udp",
             "address": "255.255.255.255:65535", "flow_control": "wide", "bytes_per_second_in": 99900000,
             "bytes_per_second_out": 99900000, "round_trip_ms": 999, "packets": 1000, "retransmitted": 999,
             "queued_frames": 100, "queued_bytes": 1200000}]})",
         "lumo send, process 9, 0 B/s sent and 0 B/s received over UDP\n"
         "                                                       ROUND  SENT\n"
         "LINK                          VIA      IN/s    OUT/s   TRIP   AGAIN  WAITING\n"
         "desktop 255.255.255.255:65535 udp wide 99.9 MB 99.9 MB 999 ms 99.9 % 100, 1.2 MB\n"},
        {R"({"listen": "a\u001bb", "stream_count": -1, "streams": [3, null, {"listeners": [7], "publisher": []}]})",
         "server a?b, up 0:00, 0 streams, 0 listeners\n"},
        {R"({"streams": 5})", ""},
        {"{}", ""},
        {"[1]", ""},
    };
    for (const auto& [json, text] : rows)
        EXPECT_EQ(CStatsTable().Text(nlohmann::json::parse(json), 0, 80, kMany).substr(0, std::string(text).size()),
                  text);
}

TEST(StatsTable, TheLastWholeLineOfAFile) {
    const CScratch folder;
    const std::tuple<std::string, bool, int> rows[] = {
        {"{\"a\":1}\n{\"a\":2}\n", true, 2},
        {"{\"a\":1}\n{\"a\":2", true, 1},  // still being written
        {"{\"a\":1}\n" + std::string(2 << 20, ' ') + "{\"a\":2}\n", true, 2},
        {"{\"a\":1}", false, 0},
        {"[]\n", false, 0},
        {"", false, 0},
    };
    for (const auto& [content, good, value] : rows) {
        folder.Put("live", content);
        nlohmann::json stats;
        std::string problem;
        EXPECT_EQ(ReadProgramStats(folder / "live", stats, problem), good) << problem;
        EXPECT_EQ(good ? stats["a"].get<int>() : 0, value);
    }
}

}  // namespace
