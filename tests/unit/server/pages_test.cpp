// What people and machines see.
#include "server/pages/graph.h"
#include "server/pages/http_server.h"
#include "server/pages/page.h"
#include "server/pages/streams_json.h"
#include "server/pages/units.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <httplib.h>
#include <atomic>
#include <ctime>
#include <future>
#include <nlohmann/json.hpp>
#include <thread>

using testing::AllOf;
using testing::HasSubstr;
using testing::Not;

namespace {

CServerStatus ExampleStatus() {
    CServerStatus status;
    status.uptimeSeconds = 3700;
    status.listenIP = 0x0a000001;
    status.port = 7000;
    CChannelStatus channel{.medium = "file", .channelID = 4000000000, .hasSource = true};
    channel.source.address = {0x0a000002, 5000};
    channel.listenerCount = 3;
    channel.listeners = {{{0x0a000003, 5001}, false, 4, 4000, 25, {1000, 20, 0}},
                         {{0x0a000004, 5002}, true, 7, 0, 0, {}}};
    channel.bytesPerSecond = 2500000;
    channel.lossPermille = 13;
    channel.history = {{1000, 0}, {2500000, 13}};
    status.channels = {channel, {.medium = "file", .channelID = 5, .home = {0x0a000009, 7000}}};
    status.channelCount = 7;
    status.signalling = {12, 34, 5};
    status.budgets = {{"send", 3 << 20, 64 << 20, 9}, {"receive", 0, 56 << 20, 1}};
    status.refusals = {{"not_allowed", "<who>", 0}, {"channels", "no room", 4, 0x0a000007, 130}};
    return status;
}

CPageLoad ExampleLoad() {
    CHourSample sample{.cpuPermille = 500, .memoryBytes = 5 << 20, .listeners = 1200, .bytesOut = 40000000};
    sample.refused[1] = 2;
    return {2, {sample}};
}

TEST(Page, ShowsWhoPublishesWhoListensAndHowItGoes) {
    const std::string page = StreamsPage(ExampleStatus(), ExampleLoad());
    for (const char* text :
         {"10.0.0.1:7000, up 1 h 1 min.", "<dd>25.0 %<small>of 2 cores", "12 signalling clients", "file 4000000000",
          "no room</td><td>2</td><td>4</td><td>10.0.0.7, 2 min ago", "Refused within a quarter of an hour, 2 times",
          "<dd>40 MB/s<small>in 0 B/s", "<summary>3 listeners", "Publisher: 10.0.0.2:5000 (udp)",
          "<td>10.0.0.3:5001 (udp)</td><td>4</td><td>25 ms</td><td>2.0 %</td>",
          "<td>10.0.0.4:5002 (tcp)</td><td>7</td><td>-</td><td>-</td>", "and 1 more", "2.5 MB/s", "1.3 %",
          "relayed from 10.0.0.9:7000", "Nobody listens.", "The busiest 2 of 7 are shown.",
          "send 3 MiB of 64 MiB, receive 0 B of 56 MiB"})
        EXPECT_THAT(page, HasSubstr(text));
}

TEST(Page, NothingInItIsMarkup) {
    EXPECT_EQ(EscapeHtml("<a href=\"x\" on='y'>&amp;"), "&lt;a href=&quot;x&quot; on=&#39;y&#39;&gt;&amp;amp;");
    CServerStatus status = ExampleStatus();
    status.channels[0].medium = "<script>alert(1)</script>";
    status.refusals[0].count = 1;
    EXPECT_THAT(StreamsPage(status, {}), AllOf(Not(HasSubstr("<script>")), Not(HasSubstr("<who>"))));
}

TEST(Graph, NewestIsAtTheRightAndAxesEndAtRoundNumbers) {
    const auto html = [](std::vector<uint64_t> values, uint64_t least) {
        return GraphHtml({"t", {{"", "a", std::move(values)}}, 4, "1 h", least, CountText});
    };
    EXPECT_THAT(html({0, 2000, 500}, 1), AllOf(HasSubstr("points=\"240,100 480,0 720,75 \""),
                                               HasSubstr("<span>2,000</span><span>0</span>"), HasSubstr("1 h ago")));
    EXPECT_THAT(html({}, 1), AllOf(Not(HasSubstr("polyline")), HasSubstr("–<")));
    EXPECT_THAT(html({0, 3}, 1000), HasSubstr("<span>1,000</span>"));
    EXPECT_THAT(html({UINT64_MAX}, 0), HasSubstr("720,0 "));
}

TEST(Hour, SamplesAreWhatHasGrownAndTheVerdictIsOfTheLastMinutes) {
    CHour hour;
    CServerNumbers numbers{.media = {{.medium = "file", .sinksUdp = 3}}, .refusals = {{"a", "b", 5}}};
    hour.Add(1000, numbers, {.cpuSeconds = 4}, {{1, 2.0}, {2, 2.0}});
    numbers.media[0].traffic.bytesOut = 50000;
    numbers.media[0].links = {.packets = 1000, .retransmitted = 150};
    numbers.refusals[0].count = 7;
    hour.Add(11000, numbers, {.cpuSeconds = 23, .residentBytes = 9}, {{1, 2.5}, {2, 11.0}, {3, 1.0}});
    const CPageLoad load{2, hour.Samples()};
    ASSERT_EQ(load.hour.size(), 1U);
    const CHourSample& one = load.hour[0];
    EXPECT_EQ((std::vector{one.cpuPermille, one.threadPermille, one.memoryBytes, one.listeners, one.bytesOut,
                           one.LossPermille(), one.Refused()}),
              (std::vector<uint64_t>{1900, 900, 9, 3, 5000, 150, 2}));
    numbers.media[0].traffic.bytesOut = 40000;  // it stepped back
    for (uint64_t i = 2; i < 2 + CHour::kBuckets; ++i) hour.Add(i * 10000, numbers, {}, {});
    EXPECT_EQ(hour.Samples().size(), CHour::kBuckets);
    EXPECT_EQ(hour.Samples()[0].bytesOut, 0U);

    CServerStatus status;
    status.refusals = {{"not_allowed", "meant to be"}, {"channels", "no room"}};
    status.budgets = {{"send", 75, 100, 0}};
    status.health = {true, false, "it is ending"};
    std::vector<std::pair<bool, std::string>> found;
    for (const CFinding& finding : Judge(status, load)) found.emplace_back(finding.bad, finding.text.substr(0, 16));
    EXPECT_EQ(found, (std::vector<std::pair<bool, std::string>>{{true, "It takes no newc"},
                                                                {true, "The processor is"},
                                                                {true, "Packets get lost"},
                                                                {false, "Memory to send i"}}));
    EXPECT_TRUE(Judge({}, {}).empty());
}

TEST(Json, SaysTheSame) {
    const auto json = nlohmann::json::parse(StreamsJson(ExampleStatus()));
    EXPECT_EQ(json["stream_count"], 7);
    EXPECT_EQ(json["signalling"]["forwarded"], 34);
    EXPECT_EQ(json["memory"]["send"]["gave_way"], 9);
    EXPECT_EQ(json["refused"]["channels"], 4);
    const auto &channel = json["streams"][0], &relayed = json["streams"][1];
    EXPECT_EQ(channel["channel"], 4000000000);
    EXPECT_EQ(channel["publisher"]["address"], "10.0.0.2:5000");
    EXPECT_EQ(channel["listeners"][0]["retransmitted"], 20);
    EXPECT_EQ(channel["listeners"][1]["transport"], "tcp");
    EXPECT_EQ(channel["history"]["bytes_per_second"], (std::vector<int>{1000, 2500000}));
    EXPECT_TRUE(channel["relayed_from"].is_null() && relayed["publisher"].is_null());
    EXPECT_EQ(relayed["relayed_from"], "10.0.0.9:7000");
}

TEST(Metrics, CountersNeverFallAndGaugesFollow) {
    CMetrics metrics;
    CMediumStatus medium{.medium = "file", .sinksTcp = 3};
    medium.traffic.bytesIn = 1000;
    medium.links.dropped = 2;
    medium.traffic.dropped = 5;
    const std::string before = metrics.Text({.media = {medium},
                                             .signalling = {12, 34, 5},
                                             .budgets = {{"send", 3, 64, 9}},
                                             .refusals = {{"channels", "", 8}},
                                             .health = {true, false, ""}},
                                            {});
    for (const char* line :
         {"lumo_signalling_clients 12\n", "lumo_signalling_packets_total{result=\"dropped\"} 5\n",
          "lumo_sinks{medium=\"file\",transport=\"tcp\"} 3\n", "lumo_drops_total{medium=\"file\"} 7\n",
          "lumo_bytes_total{direction=\"in\",medium=\"file\"} 1000\n", "lumo_memory_limit_bytes{budget=\"send\"} 64\n",
          "lumo_memory_gave_way_total{budget=\"send\"} 9\n", "lumo_refusals_total{reason=\"channels\"} 8\n",
          "lumo_ready 0\n"})
        EXPECT_THAT(before, HasSubstr(line));
    medium.sinksTcp = 1;
    medium.traffic.bytesIn = 900;
    const std::string after = metrics.Text({.media = {medium}}, {});
    EXPECT_THAT(after, HasSubstr("lumo_sinks{medium=\"file\",transport=\"tcp\"} 1\n"));
    EXPECT_THAT(after, HasSubstr("lumo_bytes_total{direction=\"in\",medium=\"file\"} 1000\n"));
    EXPECT_EQ(std::count(before.begin(), before.end(), '\n'), std::count(after.begin(), after.end(), '\n'))
        << "no new series";
    const CProcessStatus process = ReadProcessStatus();
    EXPECT_GT(process.residentBytes, 1U << 20);
    EXPECT_GE(process.openFiles, 3U);
    EXPECT_NEAR(process.startedAt, static_cast<double>(std::time(nullptr)), 600);
    EXPECT_FALSE(ReadThreadSeconds().empty());
}

using Texts = std::vector<std::string>;

const CHealth kWell, kEnding{true, false, "it is ending"}, kStalled{false, false, "it stands still"};

class HttpServer : public testing::Test, public IStatusSource {
protected:
    // Not in the constructor: the server asks its source from a thread of its own.
    void SetUp() override { ASSERT_TRUE(server->Start()); }
    void TearDown() override { server.reset(); }
    std::vector<CMediumStatus> Media() override { return {CMediumStatus{"file"}}; }
    CServerStatus Status() override { return ExampleStatus(); }
    CHealth Health() override { return *health; }
    httplib::Result Get(const std::string& path, const httplib::Headers& headers) {
        httplib::Client client("127.0.0.1", server->Port());
        client.set_read_timeout(60);
        return client.Get(path, headers);
    }
    bool IsHealthy() {
        const auto answer = Get("/health", {});
        return answer && answer->status == 200 && answer->body == "ok\n";
    }

    std::atomic<const CHealth*> health{&kWell};
    std::unique_ptr<CHttpServer> server =
        std::make_unique<CHttpServer>(*this, 0x7f000001, 0, Texts{"stats.example", "outside.example:9090"});
};

TEST_F(HttpServer, AnswersToItsOwnAddressOnlyAndTellsBrowsersToTrustNothing) {
    const std::string port = std::to_string(server->Port());
    const auto answers = [this](const std::string& host, int status) {
        for (const char* path : {"/", "/api/streams", "/metrics", "/health", "/ready", "/page.js", "/page.css"}) {
            const auto answer = Get(path, {{"Host", host}});
            ASSERT_TRUE(answer) << host << path;
            EXPECT_EQ(answer->status, status) << host << path;
            EXPECT_THAT(answer->get_header_value("Content-Security-Policy"), HasSubstr("default-src 'none'"));
            EXPECT_EQ(answer->get_header_value("X-Content-Type-Options"), "nosniff");
            EXPECT_TRUE(status == 200 || answer->body.find("10.0.0.2") == std::string::npos);
        }
    };
    for (const std::string& own : Texts{"127.0.0.1:" + port, "localhost:" + port, "localhost", "stats.example",
                                        "STATS.Example:" + port, "outside.example:9090"})
        answers(own, 200);
    for (const std::string& other :
         Texts{"127.0.0.1:1", "evil.example", "evil.example:" + port, "127.0.0.1.evil.example", "127.0.0.2:" + port,
               "10.0.0.1", "", "localhost:" + port + "@evil", "stats.example:1", "more.stats.example",
               "stats.example.evil", "outside.example"})
        answers(other, 403);
    for (const char* path : {"/nothing", "/../etc/passwd"}) EXPECT_EQ(Get(path, {})->status, 404);
    CHttpServer second(*this, 0x7f000001, server->Port());
    EXPECT_FALSE(second.Start()) << "a taken port is not shared";
}

TEST_F(HttpServer, TellsReadinessFromLife) {
    const auto answers = [this](const char* path, int status, const std::string& body) {
        const auto answer = Get(path, {});
        ASSERT_TRUE(answer) << path;
        EXPECT_EQ(std::pair(answer->status, answer->body), std::pair(status, body)) << path;
    };
    health = &kEnding;
    answers("/health", 200, "ok\n");
    answers("/ready", 503, "it is ending\n");
    health = &kStalled;
    answers("/health", 503, "it stands still\n");
}

TEST_F(HttpServer, ARequestIsBoundedInLength) {
    httplib::Headers headers;
    for (int i = 0; i < 20; ++i) headers.emplace("X-" + std::to_string(i), std::string(4000, 'x'));
    const auto refused = Get("/health", headers);
    EXPECT_TRUE(!refused || refused->status != 200);
    EXPECT_TRUE(IsHealthy());
}

/// Connections that say nothing, or a byte now and then for a while.
class CIdleClients {
public:
    CIdleClients(uint16_t port, int count, bool drip) {
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_port = htons(port);
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        for (int i = 0; i < count; ++i) {
            m_sockets.push_back(socket(AF_INET, SOCK_STREAM, 0));
            EXPECT_EQ(connect(m_sockets.back(), reinterpret_cast<sockaddr*>(&address), sizeof(address)), 0);
        }
        m_thread = std::thread([this, said = drip ? "GET /" + std::string(300, 'a') : std::string()] {
            for (size_t i = 0; i < said.size() && !m_bEnd; ++i) {
                for (int one : m_sockets) send(one, &said[i], 1, MSG_NOSIGNAL);
                std::this_thread::sleep_for(std::chrono::milliseconds(200));
            }
        });
    }
    ~CIdleClients() {
        m_bEnd = true;
        m_thread.join();
        for (int one : m_sockets) close(one);
    }

private:
    std::vector<int> m_sockets;
    std::atomic<bool> m_bEnd{false};
    std::thread m_thread;
};

TEST_F(HttpServer, ConnectionsThatSayLittleHoldUpNeitherOthersNorTheEnd) {
    for (const auto& [count, drip] : {std::pair(12, false), std::pair(4, true)}) {
        const CIdleClients clients(server->Port(), count, drip);
        EXPECT_TRUE(IsHealthy()) << count << ": all threads were taken for good";
    }
    const CIdleClients clients(server->Port(), 30, true);
    auto ended = std::async(std::launch::async, [this] { server.reset(); });
    EXPECT_EQ(ended.wait_for(std::chrono::seconds(30)), std::future_status::ready);
}

}  // namespace
