// The small parts: ranges, endpoints, log lines, times, histories.
#include "server/channels/key_frame_requests.h"
#include "server/channels/rate_history.h"
#include "server/relays/pending_requests.h"
#include "server/server_log.h"
#include "server/server_options.h"

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

namespace {

TEST(Cidr, TakesRangesAndAddressesAndNothingElse) {
    const auto parses = [](const char* text, uint32_t inside, uint32_t outside) {
        CCidrList list;
        return CCidr::Parse(text, list) && Contains(list, inside) && !Contains(list, outside);
    };
    EXPECT_TRUE(parses("10.0.0.0/8", 0x0affffff, 0x0b000000));
    EXPECT_TRUE(parses("10.1.2.3", 0x0a010203, 0x0a010202));
    EXPECT_TRUE(parses("10.1.2.3/31", 0x0a010202, 0x0a010204));
    EXPECT_TRUE(parses("128.0.0.0/1", 0xffffffff, 0x7fffffff));
    CCidrList all;
    ASSERT_TRUE(CCidr::Parse("0.0.0.0/0", all));
    EXPECT_TRUE(Contains(all, 0) && Contains(all, ~0U));
    for (const char* text : {"", "/", "10.0.0.0/", "10.0.0.0/33", "10.0.0.0/-1", "10.0.0.0/8 ", "10.0.0.0/008",
                             "10.0.0/8", "10.0.0.0.0/8", "host/8", "10.0.0.0/99999999999999999999"})
        EXPECT_FALSE(CCidr::Parse(text, all)) << text;
    EXPECT_EQ(all.size(), 1U);
}

TEST(Endpoint, NamesAnAddressAPortOrBoth) {
    const auto parsed = [](const char* text) {
        uint32_t ip = 9;
        uint16_t port = 7;
        const bool good = ParseEndpoint(text, ip, port);
        return (good ? "" : "none, left ") + EndpointText(ip, port);
    };
    EXPECT_EQ(parsed("1.2.3.4"), "1.2.3.4:7");
    EXPECT_EQ(parsed("1.2.3.4:65535"), "1.2.3.4:65535");
    EXPECT_EQ(parsed(":80"), "0.0.0.9:80");
    for (const char* text :
         {"", "80", "1.2.3.4:", "1.2.3.4:65536", "1.2.3.4:80:81", "1.2.3.4: 80", "host:80", "1.2.3.4:99999999999"})
        EXPECT_EQ(parsed(text), "none, left 0.0.0.9:7") << text;
}

// The worker's clock reading may be older than one that the UDP thread takes meanwhile.
TEST(Log, AsJsonEachLineIsAnObjectWithItsFields) {
    std::vector<nlohmann::json> lines;
    CServerLog log([&](const std::string& line) { lines.push_back(nlohmann::json::parse(line)); }, true);
    log.Warn("a \"b\"\n");
    log.Refused(0x0a000001, Refusal::RelayTarget, [] { return "channel 7"; });
    log.Line(LogKind::Sink, [] {
        CLogLine line("it came");
        line.fields = {{"channel", uint64_t{7}}};
        return line;
    });
    EXPECT_EQ(lines[0], (nlohmann::json{{"level", "warning"}, {"message", "a \"b\"\n"}}));
    EXPECT_EQ(lines[1]["reason"], "relay_target");
    EXPECT_EQ(lines[1]["address"], "10.0.0.1");
    EXPECT_EQ(lines[2], (nlohmann::json{{"level", "info"}, {"message", "it came"}, {"kind", "sink"}, {"channel", 7}}));
}

TEST(Times, WhatHappensAfterTheWorkerReadTheClockIsNotLongAgo) {
    CPendingRequests pending(4, {});
    pending.Add({.receiverID = 9, .channelID = 7, .userID = 0, .address = {}}, {}, 1000);
    pending.ForgetOld(999);
    EXPECT_EQ(pending.Count(), 1U);
    pending.ForgetOld(1000 + server::kRequestPendingMs + 1);
    EXPECT_EQ(pending.Count(), 0U);

    constexpr uint32_t kMonth = 30U * 24 * 3600 * 1000;
    CKeyFrameRequests requests;
    requests.Want(1000);
    EXPECT_TRUE(requests.IsDue(1000, true));
    EXPECT_FALSE(requests.IsDue(999, true)) << "not due again";
    requests.Came();
    requests.Want(1000 + kMonth);
    EXPECT_TRUE(requests.IsDue(1000 + kMonth, true)) << "the last question was a month ago";
}

TEST(RateHistory, KeepsFiveMinutesInOrder) {
    CRateHistory history;
    const uint32_t begin = UINT32_MAX - 5000;  // the clock wraps meanwhile
    history.Add(begin, 1000, 100, 0);
    history.Add(begin + 1001, 3000, 100, 0);
    EXPECT_TRUE(history.Samples().empty()) << "a bucket is two seconds";
    history.Add(begin + 2000, 5000, 150, 5);
    EXPECT_EQ(history.BytesPerSecond(), 2000U);
    EXPECT_EQ(history.LossPermille(), 100U);
    history.Add(begin + 4000, 4000, 140, 4);
    EXPECT_EQ(history.BytesPerSecond(), 0U) << "totals that step back are no traffic";
    for (uint32_t i = 1; i <= 200; ++i) history.Add(begin + 4000 + i * 2000, 4000 + i * (i + 1) * 1000, 140, 4);
    const auto samples = history.Samples();
    ASSERT_EQ(samples.size(), CRateHistory::kBuckets);
    EXPECT_EQ(samples.front().bytesPerSecond, 51000U);
    EXPECT_EQ(samples.back().bytesPerSecond, 200000U);
}

}  // namespace
