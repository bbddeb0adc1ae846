// The small parts: ranges, endpoints, budgets, histories, flags.
#include "link/bounds/unvalidated.h"
#include "server/channels/key_frame_requests.h"
#include "server/channels/rate_history.h"
#include "server/relays/pending_requests.h"
#include "server/server_options.h"
#include "server/sources/claims.h"

#include <gtest/gtest.h>

namespace {

TEST(Cidr, TakesRangesAndAddressesAndNothingElse) {
    struct Row {
        const char* text;
        uint32_t inside;
        uint32_t outside;
    };
    for (const Row& row : {Row{"10.0.0.0/8", 0x0affffff, 0x0b000000}, Row{"10.1.2.3", 0x0a010203, 0x0a010202},
                           Row{"10.1.2.3/31", 0x0a010202, 0x0a010204}, Row{"128.0.0.0/1", 0xffffffff, 0x7fffffff}}) {
        CCidrList list;
        ASSERT_TRUE(CCidr::Parse(row.text, list)) << row.text;
        EXPECT_TRUE(Contains(list, row.inside)) << row.text;
        EXPECT_FALSE(Contains(list, row.outside)) << row.text;
    }
    CCidrList all;
    ASSERT_TRUE(CCidr::Parse("0.0.0.0/0", all));
    EXPECT_TRUE(Contains(all, 0) && Contains(all, ~0U));
    for (const char* text : {"", "/", "10.0.0.0/", "10.0.0.0/33", "10.0.0.0/-1", "10.0.0.0/8 ", "10.0.0.0/008",
                             "10.0.0/8", "10.0.0.0.0/8", "host/8", "10.0.0.0/99999999999999999999"}) {
        EXPECT_FALSE(CCidr::Parse(text, all)) << text;
    }
    EXPECT_EQ(all.size(), 1U);
}

TEST(Endpoint, NamesAnAddressAPortOrBoth) {
    struct Row {
        const char* text;
        bool good;
        uint32_t ip;
        uint16_t port;
    };
    const Row rows[] = {{"1.2.3.4", true, 0x01020304, 7},
                        {"1.2.3.4:80", true, 0x01020304, 80},
                        {":80", true, 9, 80},
                        {"1.2.3.4:65535", true, 0x01020304, 65535},
                        {"", false, 9, 7},
                        {"80", false, 9, 7},
                        {"1.2.3.4:", false, 9, 7},
                        {"1.2.3.4:65536", false, 9, 7},
                        {"1.2.3.4:80:81", false, 9, 7},
                        {"1.2.3.4: 80", false, 9, 7},
                        {"host:80", false, 9, 7},
                        {"1.2.3.4:99999999999", false, 9, 7}};
    for (const Row& row : rows) {
        uint32_t ip = 9;
        uint16_t port = 7;
        EXPECT_EQ(ParseEndpoint(row.text, ip, port), row.good) << row.text;
        EXPECT_EQ(ip, row.ip) << row.text;
        EXPECT_EQ(port, row.port) << row.text;
    }
}

TEST(AnswerBudget, IsThreeTimesWhatCameHeadersIncluded) {
    CAnswerBudget budget;
    EXPECT_FALSE(budget.Spend(0));
    budget.Received(10);  // 38 on the wire, so 114 back
    EXPECT_TRUE(budget.Spend(14));
    EXPECT_TRUE(budget.Spend(14));
    EXPECT_FALSE(budget.Spend(6)) << "34, where 30 are left";
    EXPECT_TRUE(budget.Spend(2));
    EXPECT_FALSE(budget.Spend(0));
    budget.Received(0);
    EXPECT_TRUE(budget.Spend(56));
}

TEST(Unvalidated, KnowsTheOldestAndHowManyAnAddressHas) {
    CUnvalidated unvalidated(4, 2);
    unvalidated.Add(11, 1, 100);
    unvalidated.Add(12, 1, 200);
    unvalidated.Add(13, 2, 100);
    EXPECT_EQ(unvalidated.WhoGivesWayTo(1), 11U);
    EXPECT_EQ(unvalidated.WhoGivesWayTo(2), 0U);
    EXPECT_EQ(unvalidated.Oldest(), 11U);
    EXPECT_EQ(unvalidated.OldestOf(200), 12U);
    EXPECT_EQ(unvalidated.OldestOf(300), 0U);
    EXPECT_EQ(unvalidated.Remove(11), 100U);
    EXPECT_EQ(unvalidated.Remove(11), 0U);
    EXPECT_EQ(unvalidated.Oldest(), 12U);
    EXPECT_EQ(unvalidated.WhoGivesWayTo(1), 0U);
    unvalidated.Add(14, 3, 100);
    EXPECT_EQ(unvalidated.WhoGivesWayTo(4), 0U);
    unvalidated.Add(15, 3, 100);
    EXPECT_EQ(unvalidated.WhoGivesWayTo(4), 12U) << "there are too many";
    EXPECT_EQ(unvalidated.WhoGivesWayTo(3), 14U) << "its own before others'";
}

// The worker's clock reading may be older than one that the UDP thread takes meanwhile.
TEST(Times, WhatHappensAfterTheWorkerReadTheClockIsNotLongAgo) {
    CPendingRequests pending(4, {});
    CSinkRequest request{};
    request.channelID = 7;
    pending.Add(request, {}, 1000);
    pending.ForgetOld(999);
    EXPECT_EQ(pending.Count(), 1U);
    pending.ForgetOld(1000 + server::kRequestPendingMs + 1);
    EXPECT_EQ(pending.Count(), 0U);

    CKeyFrameRequests requests;
    requests.Want(1000);
    EXPECT_TRUE(requests.IsDue(1000, true));
    EXPECT_FALSE(requests.IsDue(999, true)) << "not due again";
    requests.Came();
    requests.Want(1000 + 30U * 24 * 3600 * 1000);
    EXPECT_TRUE(requests.IsDue(1000 + 30U * 24 * 3600 * 1000, true)) << "the last question was a month ago";
}

TEST(RateHistory, KeepsFiveMinutesInOrder) {
    CRateHistory history;
    uint32_t now = UINT32_MAX - 5000;  // across the clock's wrap
    history.Add(now, 1000, 100, 0);
    EXPECT_EQ(history.BytesPerSecond(), 0U);
    history.Add(now + 1001, 3000, 100, 0);
    EXPECT_TRUE(history.Samples().empty()) << "a bucket is two seconds";
    history.Add(now + 2000, 5000, 150, 5);
    EXPECT_EQ(history.BytesPerSecond(), 2000U);
    EXPECT_EQ(history.LossPermille(), 100U);
    history.Add(now + 4000, 4000, 140, 4);
    EXPECT_EQ(history.BytesPerSecond(), 0U) << "totals that step back are no traffic";
    for (uint32_t i = 1; i <= 200; ++i) history.Add(now + 4000 + i * 2000, 4000 + i * (i + 1) * 1000, 140, 4);
    const auto samples = history.Samples();
    ASSERT_EQ(samples.size(), CRateHistory::kBuckets);
    EXPECT_EQ(samples.front().bytesPerSecond, 51000U);
    EXPECT_EQ(samples.back().bytesPerSecond, 200000U);
}

}  // namespace
