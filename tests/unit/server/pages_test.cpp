// What people and machines see.
#include "server/pages/graph.h"
#include "server/pages/http_server.h"
#include "server/pages/page.h"
#include "server/pages/streams_json.h"

#include <gtest/gtest.h>

#include <httplib.h>
#include <atomic>
#include <future>
#include <nlohmann/json.hpp>
#include <thread>

namespace {

CServerStatus ExampleStatus() {
    CServerStatus status;
    status.uptimeSeconds = 3700;
    status.listenIP = 0x0a000001;
    status.port = 7000;
    CChannelStatus channel;
    channel.medium = "file";
    channel.channelID = 4000000000;
    channel.hasSource = true;
    channel.source.address = {0x0a000002, 5000};
    channel.listenerCount = 3;
    channel.listeners.push_back({{0x0a000003, 5001}, false, 4, 4000, 25, {1000, 20, 0}});
    channel.listeners.push_back({{0x0a000004, 5002}, true, 7, 0, 0, {}});
    channel.traffic.bytesIn = 123456;
    channel.bytesPerSecond = 2500000;
    channel.lossPermille = 13;
    channel.history = {{1000, 0}, {2500000, 13}};
    status.channels.push_back(channel);
    CChannelStatus relayed;
    relayed.medium = "file";
    relayed.channelID = 5;
    relayed.home = {0x0a000009, 7000};
    status.channels.push_back(relayed);
    status.channelCount = 7;
    status.signalling = {12, 34, 5};
    status.budgets = {{"send", 3 << 20, 64 << 20, 9}, {"receive", 0, 56 << 20, 1}};
    return status;
}

TEST(Page, ShowsWhoPublishesWhoListensAndHowItGoes) {
    const std::string page = StreamsPage(ExampleStatus());
    for (const char* text :
         {"10.0.0.1:7000, up 1 h 1 min, 7 live streams, 12 signalling clients", "file 4000000000",
          "Publisher: 10.0.0.2:5000 (udp)", "<td>10.0.0.3:5001 (udp)</td><td>4</td><td>25 ms</td><td>2.0 %</td>",
          "<td>10.0.0.4:5002 (tcp)</td><td>7</td><td>-</td><td>-</td>", "and 1 more", "2.5 MB/s", "1.3 % sent again",
          "relayed from 10.0.0.9:7000", "Nobody listens.", "The busiest 2 are shown.",
          "Memory to send 3 of 64 MiB, 9 gave way; to receive 0 of 56 MiB, 1 gave way.", "<polyline points=\""}) {
        EXPECT_NE(page.find(text), std::string::npos) << text;
    }
    EXPECT_NE(StreamsPage(CServerStatus()).find("No streams at the moment."), std::string::npos);
}

TEST(Page, NothingInItIsMarkup) {
    EXPECT_EQ(EscapeHtml("<a href=\"x\" on='y'>&amp;"), "&lt;a href=&quot;x&quot; on=&#39;y&#39;&gt;&amp;amp;");
    CServerStatus status = ExampleStatus();
    status.channels[0].medium = "<script>alert(1)</script>";
    EXPECT_EQ(StreamsPage(status).find("<script>"), std::string::npos);
    EXPECT_EQ(GraphSvg({1, 2}, 5, 1, "a\"b", "<t>").find("<t>"), std::string::npos);
}

TEST(Graph, NewestIsAtTheRightAndTheLargestAtTheTop) {
    const std::string svg = GraphSvg({0, 10, 5}, 4, 1, "rate", "t");
    EXPECT_NE(svg.find("points=\"100,40 200,1 300,21 \""), std::string::npos) << svg;
    EXPECT_EQ(GraphSvg({}, 4, 1, "rate", "t").find("polyline"), std::string::npos);
    EXPECT_NE(GraphSvg({0, 0}, 4, 1000, "rate", "t").find("200,40 300,40"), std::string::npos);
    EXPECT_NE(GraphSvg({UINT32_MAX}, 2, 0, "rate", "t").find("300,1 "), std::string::npos);
}

TEST(Json, SaysTheSame) {
    const auto json = nlohmann::json::parse(StreamsJson(ExampleStatus()));
    EXPECT_EQ(json["stream_count"], 7);
    EXPECT_EQ(json["signalling"]["forwarded"], 34);
    EXPECT_EQ(json["memory"]["send"]["gave_way"], 9);
    const auto& channel = json["streams"][0];
    EXPECT_EQ(channel["channel"], 4000000000);
    EXPECT_EQ(channel["publisher"]["address"], "10.0.0.2:5000");
    EXPECT_TRUE(channel["relayed_from"].is_null());
    EXPECT_EQ(channel["listeners"][0]["retransmitted"], 20);
    EXPECT_EQ(channel["listeners"][1]["transport"], "tcp");
    EXPECT_EQ(channel["history"]["bytes_per_second"], (std::vector<int>{1000, 2500000}));
    EXPECT_TRUE(json["streams"][1]["publisher"].is_null());
    EXPECT_EQ(json["streams"][1]["relayed_from"], "10.0.0.9:7000");
}

TEST(Metrics, CountersNeverFallAndGaugesFollow) {
    CMetrics metrics;
    CMediumStatus medium;
    medium.medium = "file";
    medium.sinksTcp = 3;
    medium.traffic.bytesIn = 1000;
    medium.links.dropped = 2;
    medium.traffic.dropped = 5;
    const std::string before = metrics.Text({medium}, {12, 34, 5}, {}, {{"send", 3, 64, 9}});
    EXPECT_NE(before.find("lumo_signalling_clients 12\n"), std::string::npos);
    EXPECT_NE(before.find("lumo_signalling_packets_total{result=\"dropped\"} 5\n"), std::string::npos);
    EXPECT_NE(before.find("lumo_sinks{medium=\"file\",transport=\"tcp\"} 3\n"), std::string::npos) << before;
    EXPECT_NE(before.find("lumo_bytes_total{direction=\"in\",medium=\"file\"} 1000\n"), std::string::npos) << before;
    EXPECT_NE(before.find("lumo_drops_total{medium=\"file\"} 7\n"), std::string::npos);
    EXPECT_NE(before.find("lumo_memory_limit_bytes{budget=\"send\"} 64\n"), std::string::npos);
    EXPECT_NE(before.find("lumo_memory_gave_way_total{budget=\"send\"} 9\n"), std::string::npos);
    medium.sinksTcp = 1;
    medium.traffic.bytesIn = 900;
    const std::string after = metrics.Text({medium}, {}, {});
    EXPECT_NE(after.find("lumo_sinks{medium=\"file\",transport=\"tcp\"} 1\n"), std::string::npos);
    EXPECT_NE(after.find("lumo_bytes_total{direction=\"in\",medium=\"file\"} 1000\n"), std::string::npos);
    EXPECT_EQ(std::count(before.begin(), before.end(), '\n'), std::count(after.begin(), after.end(), '\n'))
        << "no new series";
    const CProcessStatus process = ReadProcessStatus();
    EXPECT_GT(process.residentBytes, 1U << 20);
    EXPECT_GE(process.openFiles, 3U);
}

class CExampleSource final : public IStatusSource {
public:
    std::vector<CMediumStatus> Media() override { return {CMediumStatus{"file"}}; }
    CServerStatus Status() override { return ExampleStatus(); }
};

TEST(HttpServer, AnswersToItsOwnAddressOnlyAndTellsBrowsersToTrustNothing) {
    CExampleSource source;
    CHttpServer server(source, 0x7f000001, 0, {"stats.example", "outside.example:9090"});
    ASSERT_TRUE(server.Start());
    const std::string port = std::to_string(server.Port());
    const auto get = [&](const std::string& path, const httplib::Headers& headers) {
        httplib::Client client("127.0.0.1", server.Port());
        return client.Get(path, headers);
    };
    struct Row {
        std::string host;
        int status;
    };
    for (const Row& row :
         {Row{"127.0.0.1:" + port, 200}, Row{"localhost:" + port, 200}, Row{"localhost", 200}, Row{"127.0.0.1:1", 403},
          Row{"evil.example", 403}, Row{"evil.example:" + port, 403}, Row{"127.0.0.1.evil.example", 403},
          Row{"127.0.0.2:" + port, 403}, Row{"10.0.0.1", 403}, Row{"", 403}, Row{"localhost:" + port + "@evil", 403},
          Row{"stats.example", 200}, Row{"STATS.Example:" + port, 200}, Row{"stats.example:1", 403},
          Row{"more.stats.example", 403}, Row{"stats.example.evil", 403}, Row{"outside.example:9090", 200},
          Row{"outside.example", 403}}) {
        for (const char* path : {"/", "/api/streams", "/metrics", "/health", "/page.js", "/page.css"}) {
            const auto answer = get(path, {{"Host", row.host}});
            ASSERT_TRUE(answer) << row.host << path;
            EXPECT_EQ(answer->status, row.status) << row.host << path;
            EXPECT_NE(answer->get_header_value("Content-Security-Policy").find("default-src 'none'"),
                      std::string::npos);
            EXPECT_EQ(answer->get_header_value("X-Content-Type-Options"), "nosniff");
            EXPECT_TRUE(row.status == 200 || answer->body.find("10.0.0.2") == std::string::npos);
        }
    }
    EXPECT_EQ(get("/nothing", {{"Host", "localhost"}})->status, 404);
    EXPECT_EQ(get("/../etc/passwd", {{"Host", "localhost"}})->status, 404);
    EXPECT_EQ(get("/health", {{"Host", "localhost"}})->body, "ok\n");
    CHttpServer second(source, 0x7f000001, server.Port());
    EXPECT_FALSE(second.Start()) << "a taken port is not shared";
}

TEST(HttpServer, ConnectionsThatSayNothingHoldUpNeitherOthersNorTheEnd) {
    CExampleSource source;
    auto server = std::make_unique<CHttpServer>(source, 0x7f000001, 0);
    ASSERT_TRUE(server->Start());
    std::vector<int> silent;
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(server->Port());
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    for (int i = 0; i < 12; ++i) {
        silent.push_back(socket(AF_INET, SOCK_STREAM, 0));
        ASSERT_EQ(connect(silent.back(), reinterpret_cast<sockaddr*>(&address), sizeof(address)), 0);
    }
    httplib::Client client("127.0.0.1", server->Port());
    client.set_read_timeout(60);
    const auto answer = client.Get("/health");
    ASSERT_TRUE(answer);
    EXPECT_EQ(answer->status, 200);
    server.reset();
    for (int one : silent) close(one);
}

/// Connections that send a byte now and then, for a while.
class CDrippingClients {
public:
    CDrippingClients(uint16_t port, int count) {
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_port = htons(port);
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        for (int i = 0; i < count; ++i) {
            m_sockets.push_back(socket(AF_INET, SOCK_STREAM, 0));
            EXPECT_EQ(connect(m_sockets.back(), reinterpret_cast<sockaddr*>(&address), sizeof(address)), 0);
            EXPECT_EQ(send(m_sockets.back(), "GET /", 5, MSG_NOSIGNAL), 5);
        }
        m_thread = std::thread([this] {
            for (int i = 0; i < 300 && !m_bEnd; ++i) {
                for (int one : m_sockets) send(one, "a", 1, MSG_NOSIGNAL);
                std::this_thread::sleep_for(std::chrono::milliseconds(200));
            }
        });
    }
    ~CDrippingClients() {
        m_bEnd = true;
        m_thread.join();
        for (int one : m_sockets) close(one);
    }

private:
    std::vector<int> m_sockets;
    std::atomic<bool> m_bEnd{false};
    std::thread m_thread;
};

TEST(HttpServer, ConnectionsThatDripHoldUpNeitherOthersNorTheEnd) {
    CExampleSource source;
    auto server = std::make_unique<CHttpServer>(source, 0x7f000001, 0);
    ASSERT_TRUE(server->Start());
    {
        const CDrippingClients clients(server->Port(), 4);
        httplib::Client client("127.0.0.1", server->Port());
        client.set_read_timeout(30);
        const auto answer = client.Get("/health");
        ASSERT_TRUE(answer) << "all threads were taken for good";
        EXPECT_EQ(answer->status, 200);
    }
    auto clients = std::make_unique<CDrippingClients>(server->Port(), 30);
    auto ended = std::async(std::launch::async, [&] { server.reset(); });
    EXPECT_EQ(ended.wait_for(std::chrono::seconds(30)), std::future_status::ready);
    clients.reset();
}

TEST(HttpServer, ARequestIsBoundedInLength) {
    CExampleSource source;
    CHttpServer server(source, 0x7f000001, 0);
    ASSERT_TRUE(server.Start());
    httplib::Client client("127.0.0.1", server.Port());
    httplib::Headers headers;
    for (int i = 0; i < 20; ++i) headers.emplace("X-" + std::to_string(i), std::string(4000, 'x'));
    const auto refused = client.Get("/health", headers);
    EXPECT_TRUE(!refused || refused->status != 200);
    const auto answer = client.Get("/health");
    ASSERT_TRUE(answer);
    EXPECT_EQ(answer->status, 200);
}

}  // namespace
